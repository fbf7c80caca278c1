#include "simulator/SampleFiles.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderModule.h"
#include "package/PSWHeaderUpgrade.h"

namespace {

using simulator::Bytes;
using testing::ElementsAre;
namespace SampleFiles = simulator::SampleFiles;

std::unique_ptr<PSWFile> Load(const Bytes& bytes) {
    const std::string path = testing::TempDir() + "sample-package";
    std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    file.reset();
    auto package = std::make_unique<PSWFile>();
    EXPECT_TRUE(package->LoadPSWFromFile(path.c_str(), true));
    std::filesystem::remove(path);
    return package;
}

template <class Header>
Bytes DataOf(const Header& header, std::size_t size) {
    return {header.pData.get(), header.pData.get() + size};
}

TEST(SampleFiles, AllThatIsWrittenLoads) {
    const std::string folder = testing::TempDir() + "sample-files";
    std::vector<std::string> kinds;
    for (const std::string& path : SampleFiles::WriteAll(folder)) {
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

TEST(SampleFiles, PackagesDeliverTheirFirmwareAndModules) {
    const Bytes firmware = SampleFiles::MakeFirmware("106", std::size_t{8} * 4096);
    for (const unsigned char key : Bytes{0, 0x37, 0x42}) {
        simulator::PackageSample sample;
        sample.key = key;
        sample.modules = SampleFiles::UsualModules();
        const auto package = Load(SampleFiles::MakePackage(sample));
        const PSWHeaderModule* software = package->GetHeaderModuleSoftware();
        ASSERT_NE(software, nullptr);
        EXPECT_EQ(DataOf(*software, software->uiDataSize), firmware);
        const std::unique_ptr<std::vector<PSWHeader*>> headers(package->GetHeaders(HTYPE_MODULE));
        std::vector<Bytes> found;
        for (PSWHeader* header : *headers) {
            const auto* module = static_cast<PSWHeaderModule*>(header);
            if (module != software) found.push_back(DataOf(*module, module->uiDataSize));
        }
        EXPECT_THAT(found,
                    ElementsAre(sample.modules[0].image, sample.modules[1].image, sample.modules[2].image));

        sample = {};
        sample.key = key;
        sample.newForm = false;
        const auto old = Load(SampleFiles::MakePackage(sample));
        EXPECT_EQ(DataOf(*old->GetHeaderBin(), old->GetHeaderBin()->uiBinLength), firmware);
        EXPECT_EQ(old->GetHeaderBin()->iNumBanks, 8);
        const std::unique_ptr<std::vector<PSWHeader*>> upgrade(old->GetHeaders(HTYPE_UPGRADE));
        ASSERT_EQ(upgrade->size(), 1U);
        const auto* ids = static_cast<PSWHeaderUpgrade*>(upgrade->front());
        EXPECT_THAT((std::vector<int>{ids->iIDFamily, ids->iIDModel, ids->iIDCustomization}),
                    ElementsAre(12, 3, 1));
    }
}

TEST(SampleFiles, ModulesLoadToWhatIsSentToAPrinter) {
    for (const int mode : {-1, 0, 1}) {
        for (const unsigned char key : Bytes{0x00, 0x5A, 0x35}) {
            simulator::ModuleSample sample;
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

TEST(SampleFiles, RecordsCoverTheReportsEdgesAndNameTheirRelease) {
    const Bytes firmware = SampleFiles::SampleRecords();
    std::vector<std::size_t> sizes;
    for (std::size_t at = 0; at + 1 < firmware.size(); at += sizes.back()) {
        ASSERT_EQ(firmware[at], '$');
        sizes.push_back(firmware[at + 1] + std::size_t{2});
    }
    EXPECT_EQ(sizes.size(), 40U);
    EXPECT_THAT(std::vector<std::size_t>(sizes.begin(), sizes.begin() + 3), ElementsAre(64U, 65U, 2U));
    EXPECT_EQ(SampleFiles::ReleaseOf(firmware), "1.06");
    EXPECT_EQ(SampleFiles::ReleaseOf(SampleFiles::MakeFirmware("210", 100)), "2.10");
    EXPECT_EQ(SampleFiles::ReleaseOf(Bytes(100)), "");
}

}  // namespace
