// The commands of zelgen. Each returns the exit status: 0 done, 2 bad input
// or options (after one "zelgen: error: ..." line on standard error).
#pragma once

#include <string>
#include <vector>

int RunInfo(const std::vector<std::string>& args);
int RunRender(const std::vector<std::string>& args);
int RunDemo(const std::vector<std::string>& args);

// Prints the error line and returns the status for bad input.
int ReportError(const std::string& message);

// File name of picture `index` of a series: a printf pattern ("%03d") in
// `output` is filled in, otherwise "_NNNN" goes before the extension.
bool SeriesFileName(const std::string& output, int index, std::string& name, std::string& error);
