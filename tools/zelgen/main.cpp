// zelgen: pictures of 3-D medical volumes from the command line.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "options.h"

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs(MainUsage(), stderr);
        return 2;
    }
    const std::string command = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(MainUsage(), stdout);
        return 0;
    }
    if (command == "--version" || command == "version") {
        std::fputs(VersionText(), stdout);
        return 0;
    }
    if (command == "info") return RunInfo(args);
    if (command == "render") return RunRender(args);
    if (command == "cpr") return RunCpr(args);
    if (command == "demo") return RunDemo(args);
    return ReportError("unknown command '" + command + "' (commands: info, render, cpr, demo; see zelgen --help)");
}
