#include "upgrade/BootUsb.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "port/ComPortUsb.h"
#include "support/Clock.h"

namespace {

constexpr std::int64_t kTurnMs = 50;
constexpr std::size_t kListSize = 65536;

class UsbBootPort final : public BootPort {
 public:
    CComPort& Port() override { return port_; }
    bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                         unsigned short index, unsigned char* data, unsigned short length,
                         unsigned int timeout) override {
        return port_.ControlTransfer(requestType, request, value, index, data, length, timeout);
    }

 private:
    CComPortUsb port_{1};
};

BootUsb* installed = nullptr;

std::string FirstLine(const std::string& list) {
    const std::size_t begin = std::min(list.find_first_not_of('\n'), list.size());
    return list.substr(begin, list.find('\n', begin) - begin);
}

}  // namespace

std::unique_ptr<BootPort> BootUsb::MakePort() {
    return std::make_unique<UsbBootPort>();
}

bool BootUsb::ListDevices(const char* vid, std::string& list) {
    std::vector<char> names(kListSize);
    const bool listed = CComPortUsb::GetDeviceList(names.data(), names.size(), nullptr, 0, vid);
    list = names.data();
    return listed;
}

BootUsb& BootUsb::Get() {
    static BootUsb bus;
    return installed != nullptr ? *installed : bus;
}

void BootUsb::Install(BootUsb* usb) {
    installed = usb;
}

std::string BootUsb::WaitForDevice(const char* vid, const Deadline& deadline) {
    for (;;) {
        std::string list;
        if (Get().ListDevices(vid, list)) {
            std::string name = FirstLine(list);
            if (!name.empty()) return name;
        }
        if (deadline.IsOver()) return {};
        Sleep({kTurnMs});
    }
}
