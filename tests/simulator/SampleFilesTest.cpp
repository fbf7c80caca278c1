#include "simulator/SampleFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderModule.h"
#include "package/PSWHeaderPrinter.h"
#include "package/PSWHeaderUpgrade.h"

namespace {

using simulator::Bytes;
using simulator::ModuleSample;
namespace SampleFiles = simulator::SampleFiles;

class SampleFilesTest : public testing::Test {
 protected:
    void SetUp() override {
        folder_ =
            testing::TempDir() + "samples-" + testing::UnitTest::GetInstance()->current_test_info()->name();
        paths_ = SampleFiles::WriteAll(folder_);
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string folder_;
    std::vector<std::string> paths_;
};

TEST_F(SampleFilesTest, AllLoad) {
    int packages = 0;
    int modules = 0;
    for (const std::string& path : paths_) {
        if (std::filesystem::path(path).extension() == ".mod") {
            ModuleData module;
            EXPECT_TRUE(module.LoadModuleFromFile(path.c_str())) << path;
            ++modules;
        } else {
            PSWFile package;
            EXPECT_TRUE(package.LoadPSWFromFile(path.c_str(), true)) << path;
            ++packages;
        }
    }
    EXPECT_EQ(packages, 7);
    EXPECT_EQ(modules, 4);
}

TEST_F(SampleFilesTest, NewPackageDeliversItsFirmwareAndModules) {
    for (const char* name : {"sample.pfw", "sample-even.pfw", "sample-plain.pfw"}) {
        PSWFile package;
        ASSERT_TRUE(package.LoadPSWFromFile((folder_ + "/" + name).c_str(), true));
        PSWHeaderModule* software = package.GetHeaderModuleSoftware();
        ASSERT_NE(software, nullptr);
        const Bytes firmware = SampleFiles::MakeFirmware("106", std::size_t{8} * 4096);
        EXPECT_EQ(Bytes(software->pData.get(), software->pData.get() + software->uiDataSize), firmware)
            << name;
        EXPECT_EQ(software->iNumBank, 8);
        EXPECT_EQ(software->uiBankDim, 4096U);
        EXPECT_EQ(package.GetHeaderPrinter()->iGSILow, 0x5D) << name;

        const std::unique_ptr<std::vector<PSWHeader*>> headers(package.GetHeaders(HTYPE_MODULE));
        std::vector<Bytes> found;
        for (PSWHeader* header : *headers) {
            const auto* module = static_cast<PSWHeaderModule*>(header);
            if (module != software)
                found.emplace_back(module->pData.get(), module->pData.get() + module->uiDataSize);
        }
        const auto embedded = SampleFiles::UsualModules();
        ASSERT_EQ(found.size(), embedded.size()) << name;
        for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i], embedded[i].image) << name << i;

        std::vector<PSWCOMPONENTS> components(static_cast<std::size_t>(package.pswComponents.Size()));
        for (std::size_t i = 0; i < components.size(); ++i)
            components[i] = package.pswComponents.Get(static_cast<int>(i));
        EXPECT_THAT(components, testing::ElementsAre(0U, 0x2002U, 0x2004U, 0U, 0x3008U)) << name;
    }
}

TEST_F(SampleFilesTest, OldPackageDeliversItsFirmware) {
    for (const char* name : {"old.psw", "old-even.psw"}) {
        PSWFile package;
        ASSERT_TRUE(package.LoadPSWFromFile((folder_ + "/" + name).c_str(), true));
        const PSWHeaderBin* bin = package.GetHeaderBin();
        EXPECT_EQ(package.iPswType, 0);
        EXPECT_EQ(bin->iNumBanks, 8);
        EXPECT_EQ(bin->uiBinSize, 4096U);
        EXPECT_EQ(Bytes(bin->pData.get(), bin->pData.get() + bin->uiBinLength),
                  SampleFiles::MakeFirmware("106", std::size_t{8} * 4096))
            << name;
        const std::unique_ptr<std::vector<PSWHeader*>> upgrade(package.GetHeaders(HTYPE_UPGRADE));
        ASSERT_EQ(upgrade->size(), 1U);
        const auto* ids = static_cast<PSWHeaderUpgrade*>(upgrade->front());
        EXPECT_EQ(ids->iIDFamily, 12);
        EXPECT_EQ(ids->iIDModel, 3);
        EXPECT_EQ(ids->iIDCustomization, 1);
    }
}

TEST(SampleModules, LoadToWhatIsSentToAPrinter) {
    for (const int mode : {-1, 0, 1}) {
        for (const unsigned char key : Bytes{0x00, 0x5A, 0x35}) {
            ModuleSample sample;
            sample.encodingMode = mode;
            sample.key = key;
            const Bytes file = SampleFiles::MakeModule(sample);
            ModuleData module;
            ASSERT_TRUE(module.LoadModuleFromMemory(file.data(), static_cast<int>(file.size())));
            EXPECT_EQ(Bytes(module.pModuleBuffer.get(), module.pModuleBuffer.get() + module.iModuleLength),
                      SampleFiles::AsSent(file))
                << mode << " " << int{key};
            EXPECT_NE(std::string(module.strInfo).find("SIM BOLD (Code: 2)"), std::string::npos);
        }
    }
}

TEST(SampleRecords, CoverTheReportsEdgesAndNameTheirRelease) {
    const Bytes firmware = SampleFiles::SampleRecords();
    const std::vector<Bytes> records = SampleFiles::SplitRecords(firmware);
    ASSERT_EQ(records.size(), 40U);
    std::size_t total = 0;
    for (const Bytes& record : records) {
        EXPECT_EQ(record[0], '$');
        EXPECT_EQ(record.size(), record[1] + std::size_t{2});
        total += record.size();
    }
    EXPECT_EQ(total, firmware.size());
    EXPECT_EQ(records[0].size(), 64U);
    EXPECT_EQ(records[1].size(), 65U);
    EXPECT_EQ(records[2].size(), 2U);
    EXPECT_EQ(SampleFiles::ReleaseOf(firmware), "1.06");
    EXPECT_EQ(SampleFiles::ReleaseOf(SampleFiles::MakeFirmware("210", 100)), "2.10");
    EXPECT_EQ(SampleFiles::ReleaseOf(Bytes(100)), "");
    EXPECT_TRUE(SampleFiles::SplitRecords(Bytes(firmware.begin(), firmware.end() - 1)).empty());
}

}  // namespace
