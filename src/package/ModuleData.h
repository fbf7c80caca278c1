#pragma once

#include <cstddef>
#include <cstdint>

#include "package/ByteView.h"

class InfoText;

/// The two checksums of a module file, each kept to 16 bits: the sum of the bytes, and the sum of each byte
/// XOR the low 16 bits of its index, which counts from 0 at the first byte of the view.
struct ModuleChecksums {
    std::uint16_t sum = 0;
    std::uint16_t mixed = 0;

    static ModuleChecksums Of(ByteView bytes);
};

/// A module file: a text header, a body and two checksums. Owns its bytes.
class ModuleData {
 public:
    static constexpr int kHeaderSize = 4102;
    static constexpr std::size_t kTextSize = 256;
    static constexpr std::size_t kInfoSize = 8192;

    ModuleData() = default;
    ModuleData(const ModuleData&) = delete;
    ModuleData& operator=(const ModuleData&) = delete;

    /// Reads, checks and descrambles the module. False when the file cannot be read (without a log line) or
    /// is not a correct module (the log says why).
    bool LoadModuleFromFile(const char* name);

    /// The same with a copy of `size` bytes. False as well for no bytes.
    bool LoadModuleFromMemory(const unsigned char* bytes, int size);
    /// The same with a copy of the bytes of a view.
    bool LoadModule(ByteView bytes);

    // The steps of a load, on the buffers that it has made.

    /// True when both checksums are those of the bytes.
    bool CheckSumOk();
    /// Reads the header's keys into the fields and checks them.
    bool ExtractModuleHeaderParams();
    /// Descrambles `pModuleBuffer` and builds `strInfo`.
    bool DecodingBufferExtractInfo();

    /// Reads the value of one key, its colon included, from the module's header. `value` holds 256
    /// characters. False with a log line when the key is not there exactly once or no line feed ends the
    /// value.
    static bool ExtractStringFieldFromHeader(char* value, ModuleData* module, const char* key);
    /// As above; false for an empty text too, and `*value` is untouched then. A number that an int cannot
    /// hold becomes the nearest int.
    static bool ExtractIntFieldFromHeader(int* value, ModuleData* module, const char* key);

    /// Appends a line for each font to the text that stands in a buffer of `size` characters, cut to fit.
    void ExtractFontModuleInformations(char* text, std::size_t size);
    /// The same for a buffer of at least 8192 characters, which the caller vouches for.
    void ExtractFontModuleInformations(char* text) { ExtractFontModuleInformations(text, kInfoSize); }

    /// The printer's code for the kind of module: 1 font, 2 disk, 4 to 128 others, 0x8000 unknown.
    int GetModuleID() const;

    /// Writes the module's description to a buffer of `size` characters, cut to fit.
    void GetFileInfo(char* text, std::size_t size) const;
    /// The same for a buffer of at least 8192 characters, which the caller vouches for.
    void GetFileInfo(char* text) const { GetFileInfo(text, kInfoSize); }

    /// Appends the description that GetFileInfo writes.
    void AppendInfo(InfoText& info) const;

    OwnedBytes pFileBuffer;  ///< The file as read.
    int iFileLength = 0;
    OwnedBytes pModuleBuffer;  ///< The whole file, its body descrambled: what a printer gets.
    int iModuleLength = 0;
    OwnedBytes pHeaderBuffer;  ///< The first 4102 bytes of the file.
    int iHeaderLength = 0;

    char strRelease[kTextSize] = {};
    char strModuleID[kTextSize] = {};  ///< One letter.
    char strDate[kTextSize] = {};
    char strCode[kTextSize] = {};
    char strFactory[kTextSize] = {};
    char strNote[kTextSize] = {};
    int iFileSize = 0;             ///< Bytes of the file less 12.
    int iEncodingMode = 0;         ///< 0 or 1, the scrambling; -1 not told.
    int iScrambleByte = 0;         ///< Key of the body as it stands in the file; 0 not scrambled.
    char strInfo[kInfoSize] = {};  ///< The kind, and the fonts of a font module.

 private:
    bool LoadSteps(const char* tag);
    ByteView File() const;
    bool CopyBuffers();
    void ReleaseBuffers();
    bool EndianMarkOk() const;
    bool RequiredTextsOk() const;
    bool FileSizeOk() const;
};
