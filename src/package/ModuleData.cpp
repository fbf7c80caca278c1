#include "package/ModuleData.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/InfoText.h"
#include "package/PSWFile.h"
#include "support/GenericFunctions.h"
#include "support/Log.h"

namespace {

constexpr int kEndianMark = 10;
constexpr int kKeyByte = 4101;
constexpr std::size_t kCheckedStart = 6;
constexpr int kUncounted = 12;      // bytes of the file that FILE_SIZE and the checksums leave out
constexpr int kUnscrambled = 4108;  // FILE_SIZE less the length of the scrambled body

struct Kind {
    char letter;
    int id;
    const char* line;
    const char* type;
};

constexpr Kind kKinds[] = {
    {'D', 2, "DISK MODULE\n", "DISK MODULE"}, {'F', 1, "FONT MODULE:\n", "FONT MODULE"},
    {'H', 4, "RFID_HF MODULE:\n", ""},        {'I', 8, "RFID_UHF MODULE:\n", ""},
    {'E', 16, "BLUETOOTH MODULE:\n", ""},     {'L', 64, "LOGOS MODULE:\n", ""},
    {'N', 128, "RADIO_ISM MODULE:\n", ""},    {'O', 128, "CAMERA MODULE:\n", ""},  // kept: the same id as "N"
};
constexpr Kind kOtherKind = {'\0', 0x8000, "OTHER MODULE:\n", ""};

const Kind& KindOf(const char* moduleId) {
    const auto* kind = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [&](const Kind& each) { return each.letter == moduleId[0]; });
    return kind == std::end(kKinds) ? kOtherKind : *kind;
}

// The descrambling that an encoding mode names.
struct Scheme {
    int mode;
    bool (*descramble)(int key, unsigned char* buf, int start, int length);
    const char* failure;
};

constexpr Scheme kSchemes[] = {
    {1, EncryptionMode1::DecryptionBuffer, "Decryption Buffer, mode 1, Error!"},
    {0, EncryptionPSW::DecryptionBuffer, "Decryption Buffer, mode PSW, Error!"},
};

bool ChecksumMatches(int number, std::uint64_t read, std::uint16_t calculated) {
    return read == calculated ||
           Log::FailP("CheckSumOk", "Checksums %d not Correct! Read value %d Calc value  %d!", number,
                      static_cast<int>(read), static_cast<int>(calculated));
}

// Adds `count` bytes, the first of which has the index `first`. Both sums wrap at 16 bits.
inline void AddBytes(const unsigned char* bytes, std::size_t count, std::size_t first,
                     ModuleChecksums& sums) {
    ModuleChecksums part = sums;
    auto index = static_cast<std::uint16_t>(first);
    for (std::size_t i = 0; i < count; ++i, ++index) {
        part.sum = static_cast<std::uint16_t>(part.sum + bytes[i]);
        part.mixed = static_cast<std::uint16_t>(part.mixed + (index ^ bytes[i]));
    }
    sums = part;
}

void AddFont(std::string_view record, InfoText& text) {
    constexpr std::size_t kName = 4;
    constexpr std::size_t kNameLength = 16;
    constexpr std::size_t kCodeMark = 26;
    constexpr std::size_t kCode = 37;
    const std::string_view name = record.substr(kName, kNameLength);
    text.Add("  ");
    text.AddFromFile(name.substr(0, name.find('\0')));
    if (record.size() > kCode && record[kCodeMark] == 'N') {
        const int code = static_cast<unsigned char>(record[kCode]);
        text.AddP(" (Code: %d) (Code: %d)", code, code);  // kept: twice
    }
    text.Add("\n");
}

}  // namespace

ModuleChecksums ModuleChecksums::Of(ByteView bytes) {
    constexpr std::size_t kBlock = 1024;  // a fixed length lets the compiler sum many bytes at once
    ModuleChecksums sums;
    std::size_t done = 0;
    for (; bytes.size - done >= kBlock; done += kBlock) AddBytes(bytes.data + done, kBlock, done, sums);
    AddBytes(bytes.data + done, bytes.size - done, done, sums);
    return sums;
}

bool ModuleData::LoadModuleFromFile(const char* name) {
    iFileLength = 0;
    pFileBuffer.reset(PSWFile::readfile(name, &iFileLength));
    return pFileBuffer != nullptr && LoadSteps("LoadModuleFromFile");
}

bool ModuleData::LoadModuleFromMemory(const unsigned char* bytes, int size) {
    return bytes != nullptr && size > 0 && LoadModule({bytes, static_cast<std::size_t>(size)});
}

bool ModuleData::LoadModule(ByteView bytes) {
    if (bytes.data == nullptr || bytes.size == 0 || bytes.size > INT_MAX) return false;
    iFileLength = static_cast<int>(bytes.size);
    pFileBuffer = CopyBytes(bytes);
    if (pFileBuffer == nullptr) return false;
    const bool loaded = LoadSteps("LoadModuleFromMemory");
    if (!loaded && !EndianMarkOk()) ReleaseBuffers();
    return loaded;
}

bool ModuleData::LoadSteps(const char* tag) {
    const bool copied = CopyBuffers();
    if (!EndianMarkOk()) return Log::Fail(tag, "File not Correct! Endianism Error!");
    if (!copied) return Log::Fail(tag, "File not Correct! Length Error!");
    if (!CheckSumOk()) return Log::Fail(tag, "File not Correct! CheckSumOk Error!");
    if (!ExtractModuleHeaderParams()) return Log::Fail(tag, "File not Correct! Params Error!");
    if (!DecodingBufferExtractInfo()) return Log::Fail(tag, "File not Correct! Decoding Error!");
    return true;
}

ByteView ModuleData::File() const {
    return {pFileBuffer.get(),
            pFileBuffer == nullptr ? 0 : static_cast<std::size_t>(std::max(iFileLength, 0))};
}

bool ModuleData::CopyBuffers() {
    const std::optional<ByteView> header = File().Slice(0, kHeaderSize);
    if (!header) return false;
    pModuleBuffer = CopyBytes(File());
    iModuleLength = iFileLength;
    pHeaderBuffer = CopyBytes(*header);
    iHeaderLength = kHeaderSize;
    return pModuleBuffer != nullptr && pHeaderBuffer != nullptr;
}

void ModuleData::ReleaseBuffers() {
    pFileBuffer.reset();
    pModuleBuffer.reset();
    pHeaderBuffer.reset();
}

bool ModuleData::EndianMarkOk() const {
    const std::uint64_t mark = File().BigEndian(kEndianMark, 1).value_or(0);
    return mark == 'B' || mark == 'L';
}

bool ModuleData::CheckSumOk() {
    const ByteView file = File();
    if (file.size < kUncounted) return false;
    const ByteView checked{file.data + kCheckedStart, file.size - kUncounted};
    const ModuleChecksums calculated = ModuleChecksums::Of(checked);
    return ChecksumMatches(1, file.BigEndian(file.size - 4, 2).value_or(0), calculated.sum) &&
           ChecksumMatches(2, file.BigEndian(file.size - 2, 2).value_or(0), calculated.mixed);
}

bool ModuleData::ExtractModuleHeaderParams() {
    if (pHeaderBuffer == nullptr) return false;
    ExtractStringFieldFromHeader(strRelease, this, "REL:");
    ExtractStringFieldFromHeader(strModuleID, this, "MOD_ID:");
    ExtractStringFieldFromHeader(strDate, this, "DATE:");
    ExtractStringFieldFromHeader(strCode, this, "CODE:");
    iFileSize = 0;
    ExtractIntFieldFromHeader(&iFileSize, this, "FILE_SIZE:");
    iScrambleByte = pHeaderBuffer[kKeyByte];
    ExtractStringFieldFromHeader(strFactory, this, "FACTORY:");
    ExtractStringFieldFromHeader(strNote, this, "NOTE:");
    iEncodingMode = iScrambleByte != 0 ? -1 : 0;
    ExtractIntFieldFromHeader(&iEncodingMode, this, "ENMODE:");
    return RequiredTextsOk() && FileSizeOk();
}

bool ModuleData::RequiredTextsOk() const {
    const struct {
        const char* key;
        const char* value;
        bool correct;
    } texts[] = {
        {"REL:", strRelease, strRelease[0] != '\0'},
        {"MOD_ID:", strModuleID, std::strlen(strModuleID) == 1},
        {"DATE:", strDate, strDate[0] != '\0'},
        {"CODE:", strCode, strCode[0] != '\0'},
    };
    for (const auto& text : texts) {
        if (text.correct) continue;
        return Log::FailP("ExtractModuleHeaderParams",
                          "File not Correct! Exctract param %s Error(Value <%s>)!", text.key, text.value);
    }
    return true;
}

bool ModuleData::FileSizeOk() const {
    static constexpr char kTag[] = "ExtractModuleHeaderParams";
    const int expected = iFileLength - kUncounted;
    if (iFileSize == 0)
        return Log::FailP(kTag, "File not Correct! Exctract param %s Error(Value <%d>)!",
                          "FILE_SIZE:", iFileSize);
    return iFileSize == expected ||
           Log::FailP(kTag, "File not Correct! Exctract param %s Error(Value <%d> and not %d)!",
                      "FILE_SIZE:", iFileSize, expected);
}

bool ModuleData::DecodingBufferExtractInfo() {
    if (pModuleBuffer == nullptr || iModuleLength < kHeaderSize) return false;
    const auto* scheme = std::find_if(std::begin(kSchemes), std::end(kSchemes),
                                      [&](const Scheme& each) { return each.mode == iEncodingMode; });
    if (scheme != std::end(kSchemes)) {
        const int length = iFileSize - kUnscrambled;
        const bool inFile =
            iScrambleByte == 0 || (length >= 0 && length <= iModuleLength - kHeaderSize);  // 0: none is read
        if (!inFile || !scheme->descramble(iScrambleByte, pModuleBuffer.get(), kHeaderSize, length)) {
            return Log::Fail("DecodingBufferExtractInfo", scheme->failure);
        }
        pModuleBuffer[kKeyByte] = 0;  // the module is sent descrambled and marked so
    }
    InfoText kind;
    kind.Add("\n");
    kind.Add(KindOf(strModuleID).line);
    kind.CopyTo(strInfo, sizeof strInfo);
    if (strModuleID[0] == 'F') ExtractFontModuleInformations(strInfo, sizeof strInfo);
    return true;
}

bool ModuleData::ExtractStringFieldFromHeader(char* value, ModuleData* module, const char* key) {
    static constexpr char kTag[] = "ExtractStringFieldFromHeader";
    value[0] = '\0';
    const unsigned char* header = module->pHeaderBuffer.get();
    const int length = module->iHeaderLength;
    const std::unique_ptr<std::vector<int>> found(GenericFunctions::FindString(header, length, key));
    if (found->size() != 1) return Log::FailP(kTag, "%s not found!", key);
    const unsigned char lineFeed = '\n';
    const int start = found->front() + static_cast<int>(std::strlen(key));
    const std::unique_ptr<std::vector<int>> ends(
        GenericFunctions::FindBytePattern(header, length, start, &lineFeed, 1));
    if (ends->empty()) return Log::FailP(kTag, "%s Error!", key);
    const int count = std::min(ends->front() - start, static_cast<int>(kTextSize) - 1);
    GenericFunctions::ConvertBufferToStringAndClean(value, header, length, start, count);
    Log::WriteLogP(kTag, "String Found with Param %s : %s", key, value);
    return true;
}

bool ModuleData::ExtractIntFieldFromHeader(int* value, ModuleData* module, const char* key) {
    std::array<char, kTextSize> text{};
    if (!ExtractStringFieldFromHeader(text.data(), module, key) || text[0] == '\0') return false;
    *value = static_cast<int>(std::clamp<long>(std::strtol(text.data(), nullptr, 10), INT_MIN, INT_MAX));
    return true;
}

void ModuleData::ExtractFontModuleInformations(char* text, std::size_t size) {
    if (pModuleBuffer == nullptr || iModuleLength < kHeaderSize) return;
    const std::string_view file(reinterpret_cast<const char*>(pModuleBuffer.get()),
                                static_cast<std::size_t>(iModuleLength));
    constexpr std::string_view kMark = "FNT:";
    InfoText fonts(text, size);
    std::size_t at = file.find(kMark, kHeaderSize);
    while (at != std::string_view::npos && fonts.Size() < size) {
        AddFont(file.substr(at), fonts);
        at = file.find(kMark, at + kMark.size());
    }
    fonts.CopyTo(text, size);
}

int ModuleData::GetModuleID() const {
    return KindOf(strModuleID).id;
}

void ModuleData::AppendInfo(InfoText& info) const {
    info.Rule('-');
    info.AddP("Type:       %s\n", KindOf(strModuleID).type);
    info.AddP("Release:    %s\n", strRelease);
    info.AddP("Factory:    %s\n", strFactory);
    info.AddP("Note:       %s\n", strNote);
    info.AddP("Code:       %s\n", strCode);
    info.Rule('-');
    info.Add(strInfo);
}

void ModuleData::GetFileInfo(char* text, std::size_t size) const {
    InfoText info;
    AppendInfo(info);
    info.CopyTo(text, size);
}
