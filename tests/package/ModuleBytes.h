#pragma once

#include <string>
#include <utility>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/PackageBytes.h"

/// The header lines of a module file; "#" stands for the right FILE_SIZE.
inline const std::string kModuleLines =
    "REL:1.00\nMOD_ID:D\nDATE:070324\nCODE:C1\nFILE_SIZE:#\nFACTORY:f\nNOTE:n\nENMODE:0\n";

/// Those lines with one text replaced by another.
inline std::string EditedLines(const std::string& from, const std::string& to) {
    std::string lines = kModuleLines;
    return lines.replace(lines.find(from), from.size(), to);
}

inline Bytes WithChecksums(const Bytes& file) {
    std::uint64_t sum = 0;
    std::uint64_t mixed = 0;
    for (std::size_t i = 0; i < file.size() - 12; ++i) {
        sum += file[i + 6];
        mixed += (i & 0xFFFF) ^ file[i + 6];
    }
    return With(With(file, file.size() - 4, 2, sum), file.size() - 2, 2, mixed);
}

/// A module file of these lines, its body scrambled with `key` by the scheme of mode 0 or 1.
inline Bytes Module(std::string lines, Bytes body = {}, unsigned char key = 0, int mode = 0,
                    char mark = 'B') {
    const auto scramble = mode == 1 ? EncryptionMode1::EncryptionBuffer : EncryptionPSW::EncryptionBuffer;
    scramble(key, body.data(), 0, static_cast<int>(body.size()));
    const std::size_t size = 4102 + body.size() + 18;
    const std::size_t fileSize = lines.find('#');
    if (fileSize != std::string::npos) lines.replace(fileSize, 1, std::to_string(size - 12));
    Bytes file = BytesOf("HEADER END" + (mark + ("\n" + lines)));
    file.resize(4101, ' ');
    file.push_back(key);
    file = std::move(file) + body;
    file.resize(size, 0xE7);
    return WithChecksums(file);
}
