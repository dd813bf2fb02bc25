// The umbrella header includes every public header, and they all compile on
// their own together.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "ZelImageGenerator.h"

#ifndef ZEL_SOURCE_DIR
#error "ZEL_SOURCE_DIR must name the source tree"
#endif

TEST(Umbrella, NamesEveryPublicHeader)
{
    std::ifstream umbrella(std::string(ZEL_SOURCE_DIR) + "/include/ZelImageGenerator.h");
    std::stringstream text;
    text << umbrella.rdbuf();
    std::ifstream list(std::string(ZEL_BINARY_DIR) + "/public_headers.txt");
    ASSERT_TRUE(list.good());
    std::string header;
    int count = 0;
    while (std::getline(list, header)) {
        if (header.empty() || header == "ZelImageGenerator.h") continue;
        ++count;
        EXPECT_NE(text.str().find("#include \"" + header + "\""), std::string::npos) << header;
    }
    EXPECT_GT(count, 10);
}
