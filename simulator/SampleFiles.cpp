#include "simulator/SampleFiles.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <stdexcept>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "simulator/ModuleImage.h"

namespace simulator::SampleFiles {

namespace {

const std::string kReleaseMark = "FIRMWARE ";
constexpr char kRecordStart = '$';
constexpr std::uint32_t kFirmwareVariant = 7;

/// Bytes that look like nothing in particular and are the same each time.
class Noise {
 public:
    explicit Noise(std::uint32_t variant) : state_(variant * 2654435761U + 1) {}
    unsigned char Next() {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 17U;
        state_ ^= state_ << 5U;
        return static_cast<unsigned char>(state_ >> 24U);
    }
    void Fill(Bytes& bytes, std::size_t from) {
        std::generate(bytes.begin() + static_cast<std::ptrdiff_t>(std::min(from, bytes.size())), bytes.end(),
                      [this] { return Next(); });
    }

 private:
    std::uint32_t state_;
};

std::string Pointed(const std::string& release) {
    return release.substr(0, 1) + "." + release.substr(1);
}

void Append(Bytes& bytes, const std::string& text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

void Append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

/// One header record, filled from its marker on.
class Record {
 public:
    explicit Record(char marker) { bytes_[0] = static_cast<unsigned char>(marker); }
    Record& Text(std::size_t at, std::size_t size, const std::string& text) {
        for (std::size_t i = 0; i < size; ++i)
            bytes_[at + i] = static_cast<unsigned char>(i < text.size() ? text[i] : ' ');
        return *this;
    }
    Record& Number(std::size_t at, std::size_t size, std::size_t value) {
        for (std::size_t i = size; i-- > 0; value >>= 8U)
            bytes_[at + i] = static_cast<unsigned char>(value & 0xFFU);
        return *this;
    }
    const Bytes& Content() const { return bytes_; }

 private:
    Bytes bytes_ = Bytes(32);
};

constexpr std::size_t kRecord = 32;
constexpr std::size_t kNewBinFields = 5;
constexpr std::size_t kOldBinFields = 8;
constexpr unsigned char kIdentifiersFollow = 0xAA;
constexpr unsigned char kStatusLow = 0x5D;

Record PrinterRecord(const PackageSample& sample, const Bytes& firmware) {
    const unsigned char status = EncryptionPSW::EncryptionGSIByte(kStatusLow, sample.key);
    return Record('P')
        .Text(1, 8, "SIMTICK")
        .Text(9, 2, "01")
        .Text(11, 3, sample.release)
        .Text(14, 6, "211126")
        .Number(21, 1, status)
        .Text(22, 1, "P")
        .Number(23, 1, sample.key)
        .Text(24, 1, sample.newForm ? "2" : "1")
        .Number(25, 1, 0x01)
        .Number(26, 4, std::accumulate(firmware.begin(), firmware.end(), std::size_t{0}));
}

Record SoftwareRecord(const PackageSample& sample, std::size_t payloadAt) {
    const std::size_t mark = sample.newForm ? 11 : 6;
    Record record(sample.newForm ? 's' : 'S');
    if (sample.newForm) {
        record.Number(3, 4, payloadAt).Text(7, 3, "100").Text(10, 1, "A");
    } else {
        record.Number(1, 1, sample.banks).Number(2, 1, sample.banks);
    }
    if (!sample.identified) return record;
    const auto family = static_cast<std::size_t>(sample.family);
    const auto model = static_cast<std::size_t>(sample.model);
    const auto customization = static_cast<std::size_t>(sample.customization);
    return record.Number(mark, 1, kIdentifiersFollow)
        .Number(mark + 1, 2, family)
        .Number(mark + 3, 2, model)
        .Number(mark + 5, 2, customization);
}

Record ModuleRecord(char letter, std::size_t number, std::size_t total, std::size_t at, std::size_t size) {
    return Record('m')
        .Text(1, 1, std::string(1, letter))
        .Number(2, 1, number)
        .Number(3, 1, total)
        .Number(4, 4, at)
        .Number(8, 4, size);
}

Record BinRecord(const PackageSample& sample, std::size_t payload) {
    if (sample.newForm) return Record('?').Number(1, 4, payload);
    return Record('@').Number(1, 3, payload).Number(4, 1, sample.banks).Number(5, 3, sample.bankSize);
}

bool IsAfterFirmware(char letter) {
    return letter != 'f' && letter != 'C' && letter != 'd';
}

}  // namespace

Bytes MakeFirmware(const std::string& release, std::size_t size) {
    Bytes firmware;
    Append(firmware, kReleaseMark + Pointed(release) + "\n");
    const std::size_t named = firmware.size();
    firmware.resize(size);
    Noise(kFirmwareVariant).Fill(firmware, named);
    return firmware;
}

Bytes MakeRecords(const std::string& release, unsigned records) {
    Noise noise(kFirmwareVariant);
    Bytes all;
    for (unsigned i = 0; i < records; ++i) {
        constexpr unsigned char kFirst[] = {62, 63, 0, 253};
        const std::size_t n = i < sizeof kFirst ? kFirst[i] : 1U + noise.Next() % 253U;
        Bytes content = i == 0 ? MakeFirmware(release, n) : Bytes(n);
        if (i != 0) noise.Fill(content, 0);
        all.push_back(kRecordStart);
        all.push_back(static_cast<unsigned char>(n));
        Append(all, content);
    }
    return all;
}

Bytes SampleRecords() {
    return MakeRecords(PackageSample{}.release, 40);
}

std::string ReleaseOf(const Bytes& firmware) {
    const std::size_t from = !firmware.empty() && firmware[0] == kRecordStart ? 2 : 0;
    const std::size_t last = std::min<std::size_t>(firmware.size(), 64);
    if (from > last) return {};
    const std::string start(firmware.begin() + static_cast<std::ptrdiff_t>(from),
                            firmware.begin() + static_cast<std::ptrdiff_t>(last));
    const std::size_t end = start.find('\n');
    if (start.rfind(kReleaseMark, 0) != 0 || end == std::string::npos) return {};
    return start.substr(kReleaseMark.size(), end - kReleaseMark.size());
}

namespace {

Bytes ModuleBody(const ModuleSample& sample) {
    constexpr std::size_t kFontRecord = 64;
    const std::vector<std::string> fonts{"SIM REGULAR", "SIM BOLD"};
    Bytes body(sample.bodySize);
    Noise(sample.variant).Fill(body, 0);
    for (std::size_t i = 0; sample.kind == 'F' && i < fonts.size() && (i + 1) * kFontRecord <= body.size();
         ++i) {
        unsigned char* font = body.data() + i * kFontRecord;
        std::fill_n(font, kFontRecord, static_cast<unsigned char>(0));
        const std::string start = "FNT:" + fonts[i];
        std::copy(start.begin(), start.end(), font);
        font[26] = 'N';
        font[37] = static_cast<unsigned char>(i + 1);
    }
    return body;
}

std::string ModuleHeader(const ModuleSample& sample) {
    const std::size_t fileSize = sample.bodySize + ModuleImage::kOutsideBody;
    std::string header = "M1\nENDIAN:B\nREL:" + sample.release + "\nMOD_ID:" + sample.kind +
                         "\nDATE:21/11/2026\nCODE:" + sample.code +
                         "\nFILE_SIZE:" + std::to_string(fileSize) + "\nFACTORY:SIMULATED\nNOTE:SAMPLE\n";
    if (sample.encodingMode >= 0) header += "ENMODE:" + std::to_string(sample.encodingMode) + "\n";
    header.resize(ModuleImage::kHeader, ' ');
    header[ModuleImage::kKeyByte] = static_cast<char>(sample.key);
    return header;
}

}  // namespace

Bytes MakeModule(const ModuleSample& sample) {
    Bytes module;
    Append(module, ModuleHeader(sample));
    Append(module, ModuleBody(sample));
    Append(module, "END OF BODY\n");
    ModuleImage::Scramble(module, sample.encodingMode, sample.key);
    module.resize(module.size() + 6);
    ModuleImage::StoreSums(module);
    return module;
}

std::vector<EmbeddedModule> UsualModules() {
    ModuleSample font;
    ModuleSample disk;
    disk.kind = 'D';
    disk.code = "DSK-001";
    disk.encodingMode = 0;
    disk.key = 0x36;
    disk.variant = 2;
    ModuleSample logo;
    logo.kind = 'L';
    logo.code = "LGO-001";
    logo.key = 0;
    logo.variant = 3;
    return {{'f', MakeModule(font)}, {'d', MakeModule(disk)}, {'l', MakeModule(logo)}};
}

Bytes MakePackage(const PackageSample& sample) {
    const Bytes firmware = sample.firmware.empty()
                               ? MakeFirmware(sample.release, sample.bankSize * sample.banks)
                               : sample.firmware;
    const std::size_t records = 3 + sample.modules.size() + (sample.newForm ? 1 : 0);
    const std::size_t payloadAt = (records - 1) * kRecord + (sample.newForm ? kNewBinFields : kOldBinFields);

    Bytes payload = firmware;
    Bytes before;
    Bytes after;
    for (std::size_t i = 0; i < sample.modules.size(); ++i) {
        const EmbeddedModule& module = sample.modules[i];
        Bytes& headers = IsAfterFirmware(module.letter) ? after : before;
        Append(headers, ModuleRecord(module.letter, i + 1, sample.modules.size(), payloadAt + payload.size(),
                                     module.image.size())
                            .Content());
        Append(payload, module.image);
    }
    Bytes file = PrinterRecord(sample, firmware).Content();
    Append(file, SoftwareRecord(sample, payloadAt).Content());
    Append(file, before);
    if (sample.newForm) {
        Append(file, ModuleRecord('s', 1, 1, payloadAt, firmware.size())
                         .Number(12, 2, sample.banks)
                         .Number(14, 3, sample.bankSize)
                         .Content());
    }
    Append(file, after);
    Append(file, BinRecord(sample, payload.size()).Content());
    file.resize(payloadAt);
    EncryptionPSW::EncryptionBuffer(sample.key, payload.data(), 0, static_cast<int>(payload.size()));
    Append(file, payload);
    return file;
}

Bytes AsSent(const Bytes& module) {
    Bytes sent = module;
    const std::string mode = ModuleImage::Header(module, "ENMODE:");
    const unsigned char key = module[ModuleImage::kKeyByte];
    if (mode != "0" && mode != "1") return sent;
    const int start = static_cast<int>(ModuleImage::kHeader);
    const int body = static_cast<int>(ModuleImage::BodySize(module));
    (mode == "1" ? EncryptionMode1::DecryptionBuffer : EncryptionPSW::DecryptionBuffer)(key, sent.data(),
                                                                                        start, body);
    sent[ModuleImage::kKeyByte] = 0;
    return sent;
}

namespace {

void Write(const std::filesystem::path& path, const Bytes& bytes, std::vector<std::string>& paths) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("cannot write " + path.string());
    paths.push_back(path.string());
}

}  // namespace

std::vector<std::string> WriteAll(const std::string& directory) {
    const std::filesystem::path folder(directory);
    std::filesystem::create_directories(folder);
    std::vector<std::string> paths;

    PackageSample sample;
    sample.modules = UsualModules();
    Write(folder / "sample.pfw", MakePackage(sample), paths);
    sample.key = 0x42;
    Write(folder / "sample-even.pfw", MakePackage(sample), paths);
    sample.key = 0;
    Write(folder / "sample-plain.pfw", MakePackage(sample), paths);
    sample.release = "105";
    Write(folder / "same-release.pfw", MakePackage(sample), paths);

    PackageSample old;
    old.newForm = false;
    Write(folder / "old.psw", MakePackage(old), paths);
    old.key = 0x42;
    Write(folder / "old-even.psw", MakePackage(old), paths);

    PackageSample records;
    records.firmware = SampleRecords();
    records.banks = 1;
    records.bankSize = records.firmware.size();
    Write(folder / "records.pfw", MakePackage(records), paths);

    ModuleSample font;
    Write(folder / "font.mod", MakeModule(font), paths);
    font.encodingMode = 0;
    Write(folder / "font-psw.mod", MakeModule(font), paths);
    ModuleSample disk;
    disk.kind = 'D';
    disk.code = "DSK-001";
    Write(folder / "disk.mod", MakeModule(disk), paths);
    disk.encodingMode = 0;
    disk.key = 0x35;
    Write(folder / "disk-psw.mod", MakeModule(disk), paths);
    return paths;
}

}  // namespace simulator::SampleFiles
