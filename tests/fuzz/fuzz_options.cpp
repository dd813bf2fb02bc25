// zelgen's command line: the options of `render` and `info`, and the
// series file names built from -o. One argument per line of the input.
#include <cstdint>
#include <string>
#include <vector>

#include "options.h"
#include "output.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> args(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            args.emplace_back();
        else
            args.back() += static_cast<char>(data[i]);
    }
    bool help = false;
    std::string error;
    RenderOptions render;
    if (ParseRenderOptions(args, render, help, error) && !help) {
        std::string name;
        for (int index : {0, 7, 123456}) SeriesFileName(render.output.path, index, name, error);
    }
    InputOptions info;
    ParseInfoOptions(args, info, help, error);
    return 0;
}
