#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "package/ModuleData.h"
#include "package/PSWComponents.h"
#include "package/PSWHeader.h"
#include "package/PSWHeaderBin.h"
#include "package/PSWHeaderModule.h"
#include "package/PSWHeaderPrinter.h"

/// A firmware package: the whole file, its header records and the components that they deliver. Owns all of
/// it; pointers that it hands out are valid until the next load or its end.
class PSWFile {
 public:
    PSWFile() = default;
    PSWFile(const PSWFile&) = delete;
    PSWFile& operator=(const PSWFile&) = delete;

    /// Reads and checks the package. False when the file cannot be read or is no complete package, or when it
    /// has no upgrade header and `requireUpgradeFields` asks for one; the log says which.
    bool LoadPSWFromFile(const char* name, bool requireUpgradeFields);

    /// The same with a copy of `size` bytes, whose number is not recorded: on a fresh object the length is 0
    /// and no header is found (kept: required).
    bool LoadPSWFromMemory(const unsigned char* bytes, int size, bool requireUpgradeFields);

    /// Works on the bytes already held; a step of the two loads.
    bool LoadPSW(bool requireUpgradeFields);

    // The steps of LoadPSW, on the bytes and headers already held.

    /// Appends the headers that the file's records describe, checks them and takes their data.
    bool ScanForHeadersAndFields();
    /// Descrambles the payload with the printer header's key, which is 0 from then on. Always true.
    bool DecryptionData();
    /// Lets each header take its slice of the payload.
    bool ExtractData();

    /// The whole of a regular file in a new buffer, released by the caller with `free`, and its length.
    /// Null, with `*length` untouched, when it cannot be read, is no regular file, is longer than 1 GiB, ends
    /// before its stated size, or memory is out. Never waits for a writer: pipes, devices and directories are
    /// refused before they are opened.
    static unsigned char* readfile(const char* name, int* length);

    /// The headers of a type in file order: a new list, owned by the caller; the headers stay the package's.
    std::vector<PSWHeader*>* GetHeaders(HTYPE type);
    int GetHeadersCount(HTYPE type) const;

    /// The first header of its kind, or null.
    PSWHeaderPrinter* GetHeaderPrinter();
    PSWHeaderBin* GetHeaderBin();
    /// The first module header of kind 6, the firmware of a new-form package, or null.
    PSWHeaderModule* GetHeaderModuleSoftware();

    /// Appends a header, which the package owns from then on.
    void Add(PSWHeader* header);

    /// Appends the package's description to the text that stands in a buffer of `size` characters, cut to
    /// fit. The description of a module replaces all that stands before it (kept: required).
    void GetFileInfo(char* text, std::size_t size);
    /// The same for a buffer of at least 8192 characters, which the caller vouches for.
    void GetFileInfo(char* text) { GetFileInfo(text, ModuleData::kInfoSize); }

    OwnedBytes pFileBuffer;  ///< The file as read.
    int iFileLength = 0;
    int iPswType = 0;      ///< 1 new package, 0 old package.
    int iContentMask = 0;  ///< Bit 0 firmware, bit 1 font modules, bit 2 data modules.
    PSWComponents pswComponents;

 private:
    ByteView File() const;
    bool ScanRecords();
    bool ScanRecord(std::unique_ptr<PSWHeader> header, int position);
    bool AddUpgradeHeader(int position);
    void AddComponent(unsigned int contentBits, PSWCOMPONENTS component);
    bool CheckHeaderCounts() const;
    template <class Header>
    Header* First();

    std::size_t heldSize_ = 0;  // bytes in pFileBuffer, which iFileLength may exceed after a load from memory
    std::vector<std::unique_ptr<PSWHeader>> headers_;
};
