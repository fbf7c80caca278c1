#include "upgrade/UpgradePrinter.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "package/ModuleData.h"
#include "package/PSWComponents.h"
#include "package/PSWFile.h"
#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Listener.h"
#include "support/Log.h"
#include "upgrade/ModuleAnswer.h"

namespace {

constexpr int kModuleWriteTimeoutMs = 2000;
constexpr std::int64_t kModuleAnswerLimitMs = 600000;  // not multiplied

constexpr std::size_t kBlock = 256;

struct BankSums {
    std::uint64_t sum = 0;
    std::uint64_t xorSum = 0;

    // A block's first byte has an index that is a multiple of 256: it only adds to each byte XOR its place.
    void AddBlock(const unsigned char* bytes, std::size_t size, std::uint64_t index) {
        std::uint32_t blockSum = 0;
        std::uint32_t blockXor = 0;
        for (std::size_t i = 0; i < size; ++i) {
            blockSum += bytes[i];
            blockXor += static_cast<unsigned char>(bytes[i] ^ i);
        }
        sum += blockSum;
        xorSum += blockXor + (index & 0xFFFF) * size;
    }

    // Whole blocks are added by a loop of constant length, which becomes vector code.
    void AddBank(const unsigned char* bytes, long length) {
        const std::size_t size = length > 0 ? static_cast<std::size_t>(length) : 0;
        for (std::size_t at = 0; at < size; at += kBlock)
            AddBlock(bytes + at, std::min(kBlock, size - at), at);
    }

    bool Store(unsigned long& sumOut, unsigned long& xorOut) const {
        sumOut = sum & 0xFFFF;
        xorOut = xorSum & 0xFFFF;
        return true;
    }
};

/// How one kind of component is sent. `type` 0: the module in the package names its own.
struct ComponentRow {
    PSWCOMPONENTS component;
    bool reopenLoop;
    int headerKind;
    int type;
    const char* beginLine;
    const char* errorLine;
    const char* missingLine;
};

constexpr ComponentRow kComponents[] = {
    {PSWComponent::kFont, true, PSWHeaderModule::FONT, ModulesAvailable::FONTS, "Send Fonts...",
     "Programming Fonts Module Error", "Fonts Module not found"},
    {PSWComponent::kData, false, PSWHeaderModule::DATA, ModulesAvailable::FLASH_DISK, "Send Flash Disk...",
     "Programming Flash Disk Module Error.", "Flash Disk Module not found"},
    {PSWComponent::kLogo & ~PSWComponent::kAfter, true, PSWHeaderModule::LOGO, ModulesAvailable::LOGOS,
     "Send Logos...", "Programming Logos Module Error", "Logos Module not found"},
    // kept: other modules are reported with the texts of the logos.
    {PSWComponent::kOther & ~PSWComponent::kAfter, true, PSWHeaderModule::OTHER, 0, "Send unknown module...",
     "Programming Logos Module Error", "Logos Module not found"},
};

const ComponentRow* RowOf(PSWCOMPONENTS component) {
    for (const ComponentRow& row : kComponents) {
        if (row.component == (component & ~PSWComponent::kAfter)) return &row;
    }
    return nullptr;
}

std::vector<PSWHeaderModule*> ModulesOfKind(PSWFile& package, int kind) {
    const std::unique_ptr<std::vector<PSWHeader*>> headers(package.GetHeaders(HTYPE_MODULE));
    std::vector<PSWHeaderModule*> modules;
    for (PSWHeader* header : *headers) {
        auto* module = dynamic_cast<PSWHeaderModule*>(header);
        if (module != nullptr && module->modModuleID == kind) modules.push_back(module);
    }
    return modules;
}

ModulesAvailable::ModuleType TypeOf(const ComponentRow& row, const PSWHeaderModule& module, int size) {
    if (row.type != 0) return static_cast<ModulesAvailable::ModuleType>(row.type);
    // A module that cannot be read has no kind and goes as "other": the printer judges it.
    ModuleData data;
    data.LoadModuleFromMemory(module.pData.get(), size);
    return static_cast<ModulesAvailable::ModuleType>(data.GetModuleID());
}

/// The write time-out of a transfer, in milliseconds, with the line that explains a longer one.
int WriteTimeoutOf(ModulesAvailable::ModuleType type, const char* tag) {
    switch (type) {
        case ModulesAvailable::RFID_HF:
        case ModulesAvailable::RFID_UHF:
            Log::WriteLog(tag, "Add another Timeout due to RFID module ");
            return kModuleWriteTimeoutMs + 2000;
        case ModulesAvailable::BLUETOOTH:
            Log::WriteLog(tag, "Add another Timeout due to Bluetooth module ");
            return kModuleWriteTimeoutMs + 20000;
        default:
            return kModuleWriteTimeoutMs;
    }
}

}  // namespace

bool UpgradePrinter::StartUpgrade_PSW1(UpgradeDataInfo& /*info*/, CComPort& /*port*/, PSWFile& /*package*/,
                                       CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/,
                                       PSWComponents& /*components*/) {
    return Log::Fail("StartUpgrade_PSW1", "Unsupported Upgrade PSW1");
}

bool UpgradePrinter::StartUpgrade_PSW2(UpgradeDataInfo& /*info*/, CComPort& /*port*/, PSWFile& /*package*/,
                                       CommPortSettings& /*settings*/, void* /*ctx1*/, void* /*ctx2*/,
                                       PSWComponents& /*components*/) {
    return Log::Fail("StartUpgrade_PSW2", "Unsupported Upgrade PSW2");
}

bool UpgradePrinter::GetCheckSumVarda18h(const unsigned char* data, long length, unsigned long& sum,
                                         unsigned long& xorSum) {
    BankSums sums;
    sums.AddBank(data, length);
    return sums.Store(sum, xorSum);
}

bool UpgradePrinter::GetCheckSumKeldUsb(const std::vector<unsigned char*>& banks, long bankSize,
                                        unsigned long& sum, unsigned long& xorSum) {
    BankSums sums;
    for (const unsigned char* bank : banks) sums.AddBank(bank, bankSize);
    return sums.Store(sum, xorSum);
}

bool UpgradePrinter::ReOpenUntilBack(CComPort& port, const Reopening& how, const char* tag) const {
    for (int failures = 1; !port.ReOpen(); ++failures) {
        if (how.mustOpen) {
            Log::WriteLog(tag, "ReOpen Error. Retry");
        } else {
            Log::WriteLogP(tag, "ReOpen Error. Retry %d", failures);
        }
        if (failures > 8) {
            // kept: nothing is thrown, and the two loops spell the line differently
            Log::WriteLog(tag, how.mustOpen ? "ReOpen Error. Num Max Retry found. Throw Error"
                                            : "ReOpen Error. Num max Retry found. Throw Error");
            return !how.mustOpen;
        }
        Sleep({how.pauseMs, iTimem});
    }
    if (!how.mustOpen) Sleep({how.pauseMs, iTimem});
    return true;
}

bool UpgradePrinter::SendModule(CComPort& port, ModulesAvailable::ModuleType type, const unsigned char* data,
                                int size, void* /*ctx*/) {
    return SendModuleToDevice(port, type, data, size, false, nullptr);
}

bool UpgradePrinter::SendModuleToDevice(CComPort& port, ModulesAvailable::ModuleType type,
                                        const unsigned char* data, int size, bool closeOnHandshakeError,
                                        void* /*ctx*/) {
    static constexpr char kTag[] = "SendModuleToDevice";
    // kept: the text says 2 MB, and no wait grows
    if (size > 1024000) Log::WriteLog(kTag, "Add Timeout module size > 2MB ");
    port.CleanRX();
    if (!port.HandshakeCommunication()) {
        Log::WriteLog(kTag, "Handshake Communication Error ");
        if (closeOnHandshakeError) port.Close();
        return false;
    }
    const int writeTimeout = port.GetTimeoutTX();
    port.SetTimeoutTX(WriteTimeoutOf(type, kTag));
    Listener::Tell(Listener::Event::kModule, size, reinterpret_cast<const char*>(data));
    unsigned int err = 0;  // not looked at: the printer's answer decides
    port.WritePackets(data, size > 0 ? static_cast<unsigned int>(size) : 0, 20, 4096, &err);
    Log::WriteLog(kTag, "Waiting Answer...");
    port.SetTimeoutTX(writeTimeout);
    const int answer = ModuleAnswer::Await(port, {kModuleAnswerLimitMs}, ModuleAnswer::kOfModule, kTag);
    port.Close();
    return ModuleAnswer::Judge(answer, kTag);
}

bool UpgradePrinter::SendAllModules(CComPort& port, PSWFile& package, PSWComponents& components,
                                    void* /*ctx*/, int waitMs, bool sendBefore, bool sendAfter) {
    for (int i = 0; i < components.Size(); ++i) {
        if (!components.IsModule(i)) continue;
        if (components.IsModuleAfter(i) ? !sendAfter : !sendBefore) continue;
        if (!SendComponent(port, package, components.Get(i), waitMs)) return false;
    }
    return true;
}

bool UpgradePrinter::SendComponent(CComPort& port, PSWFile& package, std::uint32_t component, int waitMs) {
    static constexpr char kTag[] = "SendAllModules";
    port.ReOpen();
    const ComponentRow* row = RowOf(component);
    if (row == nullptr) return true;
    if (row->reopenLoop && !ReOpenUntilBack(port, kReopenOrFail, kTag)) return false;
    Log::WriteLog(kTag, row->beginLine);
    const std::vector<PSWHeaderModule*> modules = ModulesOfKind(package, row->headerKind);
    for (const PSWHeaderModule* module : modules) {
        const auto size = static_cast<int>(std::min<std::uint64_t>(module->uiDataSize, INT_MAX));
        if (!SendModule(port, TypeOf(*row, *module, size), module->pData.get(), size, nullptr))
            return Log::Fail(kTag, row->errorLine);
    }
    if (modules.empty()) {
        Log::WriteLog(kTag, row->missingLine);
        return true;
    }
    Log::WriteLog(kTag, "Programming OK");
    Sleep({waitMs, iTimem});
    return true;
}
