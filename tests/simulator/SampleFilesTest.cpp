#include "simulator/SampleFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "package/ModuleData.h"
#include "package/PSWFile.h"

TEST(SampleFiles, AllThatIsWrittenLoads) {
    const std::string folder = testing::TempDir() + "sample-files";
    std::vector<std::string> kinds;
    for (const std::string& path : simulator::SampleFiles::WriteAll(folder)) {
        ModuleData module;
        PSWFile package;
        kinds.push_back(std::filesystem::path(path).extension());
        EXPECT_TRUE(kinds.back() == ".mod" ? module.LoadModuleFromFile(path.c_str())
                                           : package.LoadPSWFromFile(path.c_str(), true))
            << path;
    }
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), ".mod"), 4);
    EXPECT_EQ(kinds.size(), 11U);
    std::filesystem::remove_all(folder);
}
