// A separate program that uses the installed library as a host would.
#include <cstdio>

#include "consumer.h"

int main()
{
    const struct {
        const char* family;
        bool (*use)();
    } families[] = {
        {"volumes and buffers", UseVolumes}, {"generators", UseGenerators}, {"display conversions", UseConvert},
        {"fusion and rotation", UseCompose}, {"drawing", UseDraw},          {"paths", UsePath},
        {"curved reformations", UseCpr},
    };
    for (const auto& f : families) {
        if (!f.use()) {
            std::fprintf(stderr, "consumer: %s failed\n", f.family);
            return 1;
        }
        std::printf("consumer: %s work\n", f.family);
    }
    return 0;
}
