// The umbrella header includes every public header, and they all compile on
// their own together.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "ZelImageGenerator.h"

TEST(Umbrella, NamesEveryPublicHeader)
{
    std::stringstream text;
    text << std::ifstream(std::string(ZEL_SOURCE_DIR) + "/include/ZelImageGenerator.h").rdbuf();
    std::ifstream list(std::string(ZEL_BINARY_DIR) + "/public_headers.txt");
    int count = 0;
    for (std::string header; std::getline(list, header);) {
        if (header.empty() || header == "ZelImageGenerator.h") continue;
        ++count;
        EXPECT_NE(text.str().find("#include \"" + header + "\""), std::string::npos) << header;
    }
    EXPECT_GT(count, 10);
}
