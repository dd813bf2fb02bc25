// Raw volumes: the size, type, offset and spacing arguments as a user
// types them, and the file's bytes; zelgen parses the arguments and reads
// the file.
#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz_input.h"
#include "options.h"
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static MemoryFile file;
    FuzzedDataProvider provider(data, size);
    std::vector<std::string> args;
    for (const char* option : {"--raw-size", "--raw-type", "--raw-offset", "--spacing"}) {
        const std::string value = provider.ConsumeRandomLengthString(24);
        if (option[6] == 's' || option[6] == 't' || !value.empty()) {
            args.push_back(option);
            args.push_back(value);
        }
    }
    const std::vector<std::uint8_t> bytes = provider.ConsumeRemainingBytes<std::uint8_t>();
    args.push_back(file.Hold(bytes.data(), bytes.size()));
    InputOptions input;
    bool help = false;
    std::string error;
    if (!ParseInfoOptions(args, input, help, error) || help) return 0;
    Volume volume;
    LoadVolume(input, volume, error);
    return 0;
}
