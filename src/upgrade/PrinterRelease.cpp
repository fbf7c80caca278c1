#include "upgrade/PrinterRelease.h"

#include <algorithm>
#include <vector>

#include "package/PSWFile.h"
#include "package/PSWHeaderPrinter.h"
#include "port/ComPort.h"
#include "protocol/Commands.h"
#include "support/Log.h"

namespace PrinterRelease {

std::string Inquire(CComPort& port, unsigned int most) {
    port.SendCommand(Commands::Cmd_CommandCAN);
    port.SendCommand(Commands::Cmd_CommandGetFWREL);
    std::vector<unsigned char> answer(most + CComPort::kReadSlack);
    unsigned int err = 0;
    const std::size_t read = std::min<std::size_t>(port.Read(answer.data(), most, &err), answer.size());
    return {answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(read)};
}

bool Ask(CComPort& port, std::string& release, const char* tag) {
    release = Inquire(port, 511);
    if (release.empty()) {
        Log::WriteLog(tag, "Read FW Release Error");
        port.Close();
        return false;
    }
    release.resize(std::min(release.find('\0'), release.size()));
    return true;
}

std::string OfPackage(PSWFile& package) {
    const PSWHeaderPrinter* printer = package.GetHeaderPrinter();
    std::string release = printer != nullptr ? printer->strReleasePSW : "";
    if (!release.empty()) release.insert(1, ".");
    return release;
}

}  // namespace PrinterRelease
