#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "harness/LogCapture.h"
#include "harness/ScriptedPort.h"
#include "package/PSWFile.h"
#include "protocol/Commands.h"

inline Lines operator+(Lines left, const Lines& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Bytes Pattern(std::size_t size, unsigned variant = 3) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256 + variant);
    return bytes;
}

/// A package with a release and a firmware of the old form (in its bin header) or the new (in a module).
class TestPackage {
 public:
    enum class Form { kOld, kNew };

    TestPackage(Form form, const std::string& release, int banks, std::uint64_t bankSize, const Bytes& data) {
        auto printer = std::make_unique<PSWHeaderPrinter>();
        std::strncpy(printer->strReleasePSW, release.c_str(), 3);
        file.Add(printer.release());
        file.iPswType = form == Form::kNew ? 1 : 0;
        if (form == Form::kNew) {
            AddModule(PSWHeaderModule::SOFTWARE, data, banks, bankSize);
        } else {
            auto bin = std::make_unique<PSWHeaderBin>();
            bin->iNumBanks = banks;
            bin->uiBinSize = bankSize;
            bin->uiBinLength = data.size();
            bin->pData = CopyBytes({data.data(), data.size()});
            file.Add(bin.release());
        }
    }
    /// A package of the old form whose banks take all of its data.
    TestPackage(const std::string& release, int banks, const Bytes& data)
        : TestPackage(Form::kOld, release, banks, data.size() / static_cast<unsigned>(banks), data) {}
    TestPackage() = default;

    void AddModule(int kind, const Bytes& data, int banks = 0, std::uint64_t bankSize = 0) {
        auto module = std::make_unique<PSWHeaderModule>();
        module->modModuleID = kind;
        module->iNumBank = banks;
        module->uiBankDim = bankSize;
        module->uiModuleSize = module->uiDataSize = data.size();
        module->pData = CopyBytes({data.data(), data.size()});
        file.Add(module.release());
    }

    PSWFile file;
};

inline Bytes ReleaseInquiry() {
    return BytesOf(Commands::Cmd_CommandCAN) + BytesOf(Commands::Cmd_CommandGetFWREL);
}

/// The two sums as they are sent.
inline Bytes PackedSums(std::uint64_t sum, std::uint64_t xorSum) {
    return {static_cast<unsigned char>(sum >> 8), static_cast<unsigned char>(sum),
            static_cast<unsigned char>(xorSum >> 8), static_cast<unsigned char>(xorSum)};
}

/// The two sums of banks of one size, byte by byte as the printers count them.
inline Bytes SumsOf(const Bytes& data, std::size_t bankSize) {
    std::uint64_t sum = 0;
    std::uint64_t xorSum = 0;
    for (std::size_t i = 0; i < data.size(); ++i) {
        sum += data[i];
        xorSum += data[i] ^ (i % bankSize);
    }
    return PackedSums(sum, xorSum);
}

/// What the bank engines write, as rows for a ScriptedPort.

inline Bytes StartOf(int first, int last) {
    return {0x1C, 0xFD, static_cast<unsigned char>(first), static_cast<unsigned char>(last)};
}

inline Bytes ProgramOf(int first, int last, const Bytes& sums) {
    return Bytes{0x1C, 0xFF, static_cast<unsigned char>(first), static_cast<unsigned char>(last)} + sums;
}

/// The banks `first` to `last` of a firmware, framed.
inline Bytes GroupOf(const Bytes& firmware, std::size_t bankSize, int first, int last) {
    const Bytes data = Slice(firmware, static_cast<std::size_t>(first) * bankSize,
                             static_cast<std::size_t>(last - first + 1) * bankSize);
    return StartOf(first, last) + data + ProgramOf(first, last, SumsOf(data, bankSize));
}

inline ScriptedPort& ReleaseAsked(ScriptedPort& port, std::string_view release = "1.04") {
    return port.Expect(ReleaseInquiry()).Answer(release);
}
