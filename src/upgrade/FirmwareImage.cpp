#include "upgrade/FirmwareImage.h"

#include "package/PSWFile.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderModule.h"

FirmwareImage FirmwareImage::Of(PSWFile& package) {
    if (package.iPswType != 0) {
        PSWHeaderModule* module = package.GetHeaderModuleSoftware();
        if (module == nullptr) return {};
        return {module->iNumBank, module->uiBankDim, module->pData.get(), module->uiDataSize};
    }
    PSWHeaderBin* bin = package.GetHeaderBin();
    if (bin == nullptr) return {};
    return {bin->iNumBanks, bin->uiBinSize, bin->pData.get(), bin->uiBinLength};
}

bool FirmwareImage::HoldsItsBanks() const {
    if (banks <= 0 || bankSize == 0 || data == nullptr) return false;
    return bankSize <= length / static_cast<std::uint64_t>(banks);
}

std::vector<unsigned char*> FirmwareImage::Banks(int first, int count) const {
    std::vector<unsigned char*> list;
    for (int i = first; i < first + count; ++i) list.push_back(Bank(i));
    return list;
}
