// Runs a fuzzing target over the inputs kept in the repository, without
// libFuzzer: `make test` replays every corpus under the sanitizers, so that
// a fixed finding stays fixed.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    std::vector<std::filesystem::path> inputs;
    for (int a = 1; a < argc; ++a) {
        if (std::filesystem::is_directory(argv[a])) {
            for (const auto& e : std::filesystem::directory_iterator(argv[a]))
                if (e.is_regular_file()) inputs.push_back(e.path());
        } else {
            inputs.emplace_back(argv[a]);
        }
    }
    if (inputs.empty()) {
        std::fprintf(stderr, "no inputs to replay\n");
        return 1;
    }
    for (const auto& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu passed, 0 failed\n", inputs.size());
    return 0;
}
