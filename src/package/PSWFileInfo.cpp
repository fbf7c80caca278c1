// The description of a package that the front end prints.
#include "package/InfoText.h"
#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderLogos.h"
#include "package/PSWHeaderUpgrade.h"

namespace {

template <class Header>
std::vector<const Header*> Of(PSWFile& file, HTYPE type) {
    const std::unique_ptr<std::vector<PSWHeader*>> headers(file.GetHeaders(type));
    std::vector<const Header*> typed;
    for (const PSWHeader* header : *headers) {
        if (const auto* each = dynamic_cast<const Header*>(header)) typed.push_back(each);
    }
    return typed;
}

void EndSection(InfoText& info) {
    info.Rule('-');
    info.Add("\n");
}

void AddIdentity(PSWFile& file, InfoText& info) {
    info.Rule('*');
    info.Rule('*');
    if (const PSWHeaderPrinter* printer = file.GetHeaderPrinter()) {
        info.Add("Release PSW:    ");
        info.AddFromFile(printer->strReleasePSW);
        info.Add("\nCreation Date:  ");
        info.AddFromFile(printer->strCreationDate);
        info.Add("\n");
    }
    const auto upgrades = Of<PSWHeaderUpgrade>(file, HTYPE_UPGRADE);
    if (upgrades.size() == 1) {
        info.AddP("PSW Sign Family:        %d\n", upgrades[0]->iIDFamily);
        info.AddP("PSW Sign Model:          %d\n", upgrades[0]->iIDModel);
        info.AddP("PSW Sign Customization:  %d\n", upgrades[0]->iIDCustomization);
    }
    info.Rule('*');
    info.Rule('*');
    info.Add("\n");
}

void AddLogos(PSWFile& file, InfoText& info) {
    const auto logos = Of<PSWHeaderLogos>(file, HTYPE_LOGOS);
    if (logos.empty()) return;
    info.AddP("Number of Logos:%d\n", logos[0]->iTotLogos);
    // kept: the sizes of logos are not shown
    for (std::size_t i = 1; i <= logos.size(); ++i) info.AddP("\n LOGO %zu/%zu\n", i, logos.size());
    EndSection(info);
}

void AddFonts(PSWFile& file, InfoText& info) {
    const auto fonts = Of<PSWHeaderFonts>(file, HTYPE_FONTS);
    if (fonts.empty()) return;
    info.AddP("Number of Fonts:%d\n", fonts[0]->iTotFonts);
    for (std::size_t i = 0; i < fonts.size(); ++i) {
        info.AddP("\n FONT %zu/%zu\n", i + 1, fonts.size());
        info.AddP(" Size:          %dx%d\n", fonts[i]->iFontSizeX, fonts[i]->iFontSizeY);
    }
    EndSection(info);
}

void AddModules(PSWFile& file, InfoText& info) {
    const auto modules = Of<PSWHeaderModule>(file, HTYPE_MODULE);
    if (!modules.empty()) info.Add("Modules:\n");
    for (const PSWHeaderModule* header : modules) {
        ModuleData module;
        if (!module.LoadModule(header->Data())) continue;
        info.Clear();  // kept: a module's description begins its text afresh
        module.AppendInfo(info);
        EndSection(info);
    }
}

}  // namespace

void PSWFile::GetFileInfo(char* text, std::size_t size) {
    InfoText info(text, size);
    AddIdentity(*this, info);
    AddLogos(*this, info);
    AddFonts(*this, info);
    AddModules(*this, info);
    info.CopyTo(text, size);
}
