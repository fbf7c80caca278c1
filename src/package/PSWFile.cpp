#include "package/PSWFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <utility>

#include "package/EncryptionPSW.h"
#include "package/InfoText.h"
#include "package/ModuleData.h"
#include "package/PSWHeaderBootLoader.h"
#include "package/PSWHeaderFonts.h"
#include "package/PSWHeaderGenericData.h"
#include "package/PSWHeaderLogos.h"
#include "package/PSWHeaderSoftware.h"
#include "package/PSWHeaderUSBLoader.h"
#include "package/PSWHeaderUpgrade.h"
#include "package/PSWRecord.h"
#include "support/Log.h"

namespace {

constexpr char kScanTag[] = "ScanForHeadersAndFields";

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
    const PSWRecord record(file, position);
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const HeaderKind& each) {
        return record.MarkerIndex(each.markers) >= 0;
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

constexpr off_t kLongestFile = off_t{1} << 30;
constexpr std::size_t kPiece = std::size_t{1} << 20;

class Descriptor {
 public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) close(fd_);
    }
    int Get() const { return fd_; }

 private:
    int fd_;
};

bool Readable(const struct stat& info) {
    return S_ISREG(info.st_mode) && info.st_size >= 0 && info.st_size <= kLongestFile;
}

bool ReadAll(int fd, unsigned char* out, std::size_t size) {
    while (size > 0) {
        const ssize_t got = read(fd, out, std::min(size, kPiece));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;  // an error, or a file that has become shorter
        out += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
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
    return Log::Fail("LoadPSW", "This PSW doesn't contain the Upgrade fields");
}

unsigned char* PSWFile::readfile(const char* name, int* length) {
    struct stat info {};
    if (name == nullptr || stat(name, &info) != 0 || !Readable(info)) return nullptr;
    // What stands there now may no longer be what was looked at.
    const Descriptor file(open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.Get() < 0 || fstat(file.Get(), &info) != 0 || !Readable(info)) return nullptr;
    const auto size = static_cast<std::size_t>(info.st_size);
    OwnedBytes bytes = AllocateBytes(size);
    if (bytes == nullptr || !ReadAll(file.Get(), bytes.get(), size)) return nullptr;
    *length = static_cast<int>(size);
    return bytes.release();
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
    if (!DecryptionData()) return Log::Fail(kScanTag, "ERROR Decryption");
    return ExtractData() || Log::Fail(kScanTag, "ERROR ExtractData");
}

bool PSWFile::ScanRecords() {
    const auto length = static_cast<int>(File().size);
    for (int position = 0; position < length; position += PSWRecord::kSize) {
        const HeaderKind* kind = KindAt(File(), position);
        if (kind == nullptr) return true;
        if (headers_.size() >= kMostRecords)
            return Log::FailP(kScanTag, "ERROR Searching Header: more than %zu headers", kMostRecords);
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
        return Log::FailP(kScanTag, "ERROR Searching Header %d (HEADER %s)", required.type, required.name);
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
        if (taken > allowed)
            return Log::Fail("ExtractData", "The headers ask for far more data than the package holds");
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
