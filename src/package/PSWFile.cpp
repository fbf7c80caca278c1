#include "package/PSWFile.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "package/EncryptionPSW.h"
#include "package/InfoText.h"
#include "package/ModuleData.h"
#include "package/PSWField.h"
#include "package/PSWHeaderBootLoader.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderGenericData.h"
#include "package/PSWHeaderLogos.h"
#include "package/PSWHeaderSoftware.h"
#include "package/PSWHeaderUSBLoader.h"
#include "package/PSWHeaderUpgrade.h"
#include "package/WholeFile.h"
#include "support/Log.h"

namespace {

const char* const kScanTag = "ScanForHeadersAndFields";

constexpr unsigned int kFirmwareContent = 1;
constexpr unsigned int kFontContent = 2;
constexpr unsigned int kDataContent = 4;

// A hostile file can hold a record in every 32 bytes, and each record can ask for a copy of the whole
// payload. Real packages number their fonts, logos and modules in single bytes and do not send the same bytes
// twice.
constexpr std::size_t kMostRecords = 4096;
constexpr std::uint64_t kSliceAllowance = std::uint64_t{64} << 20;

template <class Header>
std::unique_ptr<PSWHeader> Make() {
    return std::make_unique<Header>();
}

struct HeaderKind {
    const char* const* markers;
    const char* name;
    std::unique_ptr<PSWHeader> (*make)();
};

constexpr HeaderKind kKinds[] = {
    {PSWHeaderPrinter::HeaderMarker, "PRINTER", Make<PSWHeaderPrinter>},
    {PSWHeaderSoftware::HeaderMarker, "SOFTWARE", Make<PSWHeaderSoftware>},
    {PSWHeaderLogos::HeaderMarker, "LOGOS", Make<PSWHeaderLogos>},
    {PSWHeaderFonts::HeaderMarker, "FONTS", Make<PSWHeaderFonts>},
    {PSWHeaderUSBLoader::HeaderMarker, "USBLOADER", Make<PSWHeaderUSBLoader>},
    {PSWHeaderBootLoader::HeaderMarker, "BOOTLOADER", Make<PSWHeaderBootLoader>},
    {PSWHeaderGenericData::HeaderMarker, "GENERICDATA", Make<PSWHeaderGenericData>},
    {PSWHeaderModule::HeaderMarker, "MODULE", Make<PSWHeaderModule>},
    {PSWHeaderBin::HeaderMarker, "BIN", Make<PSWHeaderBin>},
};

const HeaderKind* KindAt(ByteView file, int position) {
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const HeaderKind& each) {
        return MarkerIndex(file, position, each.markers) >= 0;
    });
    return kind == std::end(kKinds) ? nullptr : kind;
}

struct ModuleContent {
    unsigned int contentBit;
    PSWCOMPONENTS component;
};

ModuleContent ContentOf(int moduleId) {
    switch (moduleId) {
        case PSWHeaderModule::SOFTWARE:
            return {kFirmwareContent, PSWComponent::kFirmware};
        case PSWHeaderModule::FONT:
        case PSWHeaderModule::CODEFONT:
            return {kFontContent, PSWComponent::kFont};
        case PSWHeaderModule::DATA:
            return {kDataContent, PSWComponent::kData};
        case PSWHeaderModule::LOGO:
            return {0, PSWComponent::kLogo};
        default:
            return {0, PSWComponent::kOther};
    }
}

}  // namespace

bool PSWFile::LoadPSWFromFile(const char* name, bool requireUpgradeFields) {
    iContentMask = 0;
    pswComponents.ResetList();
    headers_.clear();
    iFileLength = 0;
    Log::WriteLogP("LoadPSWFromFile", "Opening PSW File: %s", name);
    pFileBuffer.reset(readfile(name, &iFileLength));
    heldSize_ = static_cast<std::size_t>(iFileLength);
    return pFileBuffer != nullptr && LoadPSW(requireUpgradeFields);
}

bool PSWFile::LoadPSWFromMemory(const unsigned char* bytes, int size, bool requireUpgradeFields) {
    if (bytes == nullptr || size < 0) return false;
    heldSize_ = static_cast<std::size_t>(size);
    pFileBuffer = CopyBytes({bytes, heldSize_});  // kept: iFileLength is not told
    return pFileBuffer != nullptr && LoadPSW(requireUpgradeFields);
}

bool PSWFile::LoadPSW(bool requireUpgradeFields) {
    headers_.clear();
    if (!ScanForHeadersAndFields()) return false;
    if (!requireUpgradeFields || GetHeadersCount(HTYPE_UPGRADE) > 0) return true;
    Log::WriteLog("LoadPSW", "This PSW doesn't contain the Upgrade fields");
    return false;
}

unsigned char* PSWFile::readfile(const char* name, int* length) {
    return ReadWholeFile(name, length).release();
}

ByteView PSWFile::File() const {
    const auto stated = static_cast<std::size_t>(std::max(iFileLength, 0));
    return {pFileBuffer.get(), pFileBuffer == nullptr ? 0 : std::min(stated, heldSize_)};
}

bool PSWFile::ScanForHeadersAndFields() {
    Log::WriteLog(kScanTag, "Search Headers:");
    if (!ScanRecords()) return false;
    Log::WriteLogP(kScanTag, "Found %d Headers", static_cast<int>(headers_.size()));
    if (!CheckHeaderCounts()) return false;
    if (iPswType == 0) {
        iContentMask = 1;
        pswComponents.Add(PSWComponent::kFirmware);  // kept: an old package lists its firmware twice
    }
    if (!DecryptionData()) {
        Log::WriteLog(kScanTag, "ERROR Decryption");
        return false;
    }
    if (!ExtractData()) {
        Log::WriteLog(kScanTag, "ERROR ExtractData");
        return false;
    }
    return true;
}

bool PSWFile::ScanRecords() {
    const auto length = static_cast<int>(File().size);
    for (int position = 0; position < length; position += static_cast<int>(kRecordSize)) {
        const HeaderKind* kind = KindAt(File(), position);
        if (kind == nullptr) return true;
        if (headers_.size() >= kMostRecords) {
            Log::WriteLogP(kScanTag, "ERROR Searching Header: more than %zu headers", kMostRecords);
            return false;
        }
        std::unique_ptr<PSWHeader> header = kind->make();
        const int type = header->iHType;
        Log::WriteLogP(kScanTag, "Found %d (HEADER %s)", type, kind->name);
        if (!ScanRecord(std::move(header), position)) return false;
        if (type == HTYPE_BIN) return true;
    }
    return true;
}

bool PSWFile::ScanRecord(std::unique_ptr<PSWHeader> header, int position) {
    bool upgradeFieldsFollow = false;
    if (header->ExtractHederInfo(File(), position, &upgradeFieldsFollow) != 0) return false;
    headers_.push_back(std::move(header));
    const PSWHeader* added = headers_.back().get();
    if (const auto* printer = dynamic_cast<const PSWHeaderPrinter*>(added)) {
        iPswType = printer->iPswType;
    } else if (added->iHType == HTYPE_SOFTWARE) {
        if (upgradeFieldsFollow && !AddUpgradeHeader(position)) return false;
        AddComponent(kFirmwareContent, PSWComponent::kFirmware);
    } else if (const auto* module = dynamic_cast<const PSWHeaderModule*>(added)) {
        const ModuleContent content = ContentOf(module->modModuleID);
        AddComponent(content.contentBit, content.component);
    }
    return true;
}

bool PSWFile::AddUpgradeHeader(int position) {
    Log::WriteLog(kScanTag, "Found PSWHeaderUpgrade");
    auto upgrade = std::make_unique<PSWHeaderUpgrade>();
    if (upgrade->ExtractHederInfo(File(), position, nullptr) != 0) return false;
    headers_.push_back(std::move(upgrade));
    return true;
}

void PSWFile::AddComponent(unsigned int contentBits, PSWCOMPONENTS component) {
    iContentMask = static_cast<int>(static_cast<unsigned int>(iContentMask) | contentBits);
    pswComponents.Add(component);
}

bool PSWFile::CheckHeaderCounts() const {
    struct Required {
        HTYPE type;
        const char* name;
    };
    constexpr Required kRequired[] = {
        {HTYPE_PRINTER, "PRINTER"}, {HTYPE_SOFTWARE, "SOFTWARE"}, {HTYPE_BIN, "BIN"}};
    for (const Required& required : kRequired) {
        if (GetHeadersCount(required.type) == 1) continue;
        Log::WriteLogP(kScanTag, "ERROR Searching Header %d (HEADER %s)", required.type, required.name);
        return false;
    }
    return true;
}

bool PSWFile::DecryptionData() {
    PSWHeaderPrinter* printer = GetHeaderPrinter();
    const PSWHeaderBin* bin = GetHeaderBin();
    if (printer == nullptr || bin == nullptr || printer->iScrambleByte == 0) return true;
    const int key = printer->iScrambleByte;
    printer->iGSILow = EncryptionPSW::DecryptionGSIByte(static_cast<unsigned char>(printer->iGSILow),
                                                        static_cast<unsigned char>(key));
    EncryptionPSW::DecryptionBuffer(key, bin->pData.get(), 0, static_cast<int>(bin->Payload().size));
    printer->iScrambleByte = 0;
    return true;
}

bool PSWFile::ExtractData() {
    const PSWHeaderBin* bin = GetHeaderBin();
    if (bin == nullptr) return true;
    const ByteView payload = bin->Payload();
    const std::uint64_t allowed = payload.size + kSliceAllowance;
    std::uint64_t taken = 0;
    for (const auto& header : headers_) {
        if (header->ExtractDataBuffer(payload, bin->iStartDataIntoFile) != 0) return false;
        taken += header->DataSize();
        if (taken <= allowed) continue;
        Log::WriteLog("ExtractData", "The headers ask for far more data than the package holds");
        return false;
    }
    return true;
}

std::vector<PSWHeader*>* PSWFile::GetHeaders(HTYPE type) {
    auto found = std::make_unique<std::vector<PSWHeader*>>();
    for (const auto& header : headers_) {
        if (header->iHType == type) found->push_back(header.get());
    }
    return found.release();
}

int PSWFile::GetHeadersCount(HTYPE type) const {
    return static_cast<int>(std::count_if(headers_.begin(), headers_.end(),
                                          [&](const auto& header) { return header->iHType == type; }));
}

template <class Header>
Header* PSWFile::First() {
    for (const auto& header : headers_) {
        if (auto* found = dynamic_cast<Header*>(header.get())) return found;
    }
    return nullptr;
}

PSWHeaderPrinter* PSWFile::GetHeaderPrinter() {
    return First<PSWHeaderPrinter>();
}

PSWHeaderBin* PSWFile::GetHeaderBin() {
    return First<PSWHeaderBin>();
}

PSWHeaderModule* PSWFile::GetHeaderModuleSoftware() {
    for (const auto& header : headers_) {
        auto* module = dynamic_cast<PSWHeaderModule*>(header.get());
        if (module != nullptr && module->modModuleID == PSWHeaderModule::SOFTWARE) return module;
    }
    return nullptr;
}

void PSWFile::Add(PSWHeader* header) {
    headers_.emplace_back(header);
}
