// The commands of zelgen. Each returns the exit status: 0 done, 2 bad input
// or options (after one "zelgen: error: ..." line on standard error).
//
// Every command runs the same stages (readers.h -> volume.h -> planes.h ->
// picture.h -> output.h); a command only chooses its options and wires them.
#pragma once

#include <string>
#include <vector>

int RunInfo(const std::vector<std::string>& args);
int RunRender(const std::vector<std::string>& args);
int RunCpr(const std::vector<std::string>& args);
int RunDemo(const std::vector<std::string>& args);

// Prints the error line and returns the status for bad input.
int ReportError(const std::string& message);
// Prints a note on standard error unless quiet.
void Note(bool quiet, const std::string& message);
