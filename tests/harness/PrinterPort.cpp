#include "harness/PrinterPort.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "port/PrinterVendorId.h"

using simulator::Bytes;

namespace {

constexpr std::uint64_t kPollMs = 50;
constexpr std::size_t kMostShown = 40;

std::string Hex(unsigned int value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

// Three or more characters in a row are shown as text, other bytes in hex, long ones as length and sum.
std::string Shown(const Bytes& bytes) {
    if (bytes.size() > kMostShown) {
        std::uint32_t sum = 2166136261U;
        for (const unsigned char byte : bytes) sum = (sum ^ byte) * 16777619U;
        return std::to_string(bytes.size()) + " bytes, checksum " + Hex(sum, 8);
    }
    std::string text;
    const auto plain = [](unsigned char byte) { return byte >= ' ' && byte <= '~'; };
    for (auto at = bytes.begin(); at != bytes.end();) {
        const auto end = std::find_if_not(at, bytes.end(), plain);
        text += text.empty() ? "" : " ";
        text += end - at >= 3 ? '"' + std::string(at, end) + '"' : Hex(*at, 2);
        at = end - at >= 3 ? end : at + 1;
    }
    return text;
}

}  // namespace

LineFault::How LinePlan::Call(const std::string& name) {
    calls.push_back(name);
    const int ofName = ++counts_[name];
    for (const LineFault& fault : faults) {
        if (!fault.call.empty() && fault.call != name) continue;
        const int number = fault.call.empty() ? static_cast<int>(calls.size()) : ofName;
        if (number < fault.first || number > fault.last) continue;
        if (fault.how == LineFault::kEnds) throw RunEnded();
        bGone = bGone || fault.how == LineFault::kDeviceGone;
        return fault.how;
    }
    return LineFault::kNone;
}

PrinterPort::PrinterPort(VirtualClock& clock, simulator::DeviceModel& model, LinePlan& line,
                         COMMPORTTYPE type, int timem)
    : clock_(clock), model_(model), line_(line), timem_(timem), at_(clock.NowMs()) {
    iPortType = type;
    std::snprintf(szLastError, sizeof szLastError, "the reason");
    uiTimeoutTX = uiTimeoutRX = IsEthernet() ? 500 : 1000;
    uiWPacketSize = IsUsb() ? 64 : 1000;
}

// Names and presence

bool PrinterPort::Init(char* pid, char* addr) {
    return Find({PRINTER_VENDOR_ID, pid, addr}, true);
}
bool PrinterPort::Init(char*, int, int) {
    return iPortType == COMMPORT_SERIAL;
}
bool PrinterPort::Init(char*, int) {
    return IsEthernet();
}
bool PrinterPort::InitWithVid(char* vid, char* pid, char* serial) {
    return Find({vid, pid, serial}, false);
}
bool PrinterPort::InitWithVid(char* vid) {
    return Find({vid, "", ""}, false);
}

/// An empty product stands for any; `byEnd` compares the serial number's last digit.
bool PrinterPort::Find(const Names& names, bool byEnd) {
    names_ = names;
    Disconnect();
    Pass();
    found_ = IsUsb() && !line_.bGone ? model_.OnUsb(at_) : std::nullopt;
    if (!found_ || Hex(found_->vendor, 4) != names.vid) return false;
    const std::string& serial = found_->serial;
    const bool fits = byEnd ? !serial.empty() && serial.back() - '0' == std::atoi(names.serial.c_str())
                            : serial == names.serial;
    return (names.pid.empty() && !byEnd) || (Hex(found_->product, 4) == names.pid && fits);
}

void PrinterPort::Pass() {
    for (;;) {
        Look();
        const std::uint64_t now = clock_.NowMs();
        if (at_ >= now) return;
        const std::uint64_t next = model_.NextEvent(at_);
        at_ = std::min(now, next > at_ ? next : at_ + std::max(kPollMs, (now - at_) / 1000));
    }
}

/// The device at the time that was reached: whether it is still there, and what it has to say.
void PrinterPort::Look() {
    const std::optional<simulator::UsbIdentity> usb = model_.OnUsb(at_);
    if (claimed_ && usb != claimed_) Disconnect();
    if (usb) {
        for (Bytes& answer : model_.Transmit(at_)) line_.usbAnswers.push_back(std::move(answer));
    }
    if (IsUsb()) return;
    const bool onLine = model_.OnLine(at_);
    const bool cut = model_.TakeCut();
    lost_ = lost_ || cut;
    if ((cut || !onLine) && IsEthernet() && open_ && !std::exchange(broken_, true))
        model_.ConnectionChanged(false, at_);
    if (!onLine || (IsEthernet() && (!open_ || broken_))) return;
    for (const Bytes& answer : model_.Transmit(at_)) {
        if (open_ && !line_.bGone) received_.insert(received_.end(), answer.begin(), answer.end());
    }
}

void PrinterPort::Disconnect() {
    const bool wasConnected = std::exchange(open_, false) && !std::exchange(broken_, false);
    if (wasConnected && iPortType != COMMPORT_SERIAL) model_.ConnectionChanged(false, at_);
    claimed_.reset();
    received_.clear();
    if (IsUsb()) line_.usbAnswers.clear();
}

bool PrinterPort::Reach(LineFault::How how) {
    Pass();
    if (how != LineFault::kNone || line_.bGone) return false;
    if (IsUsb()) claimed_ = model_.OnUsb(at_) == found_ ? found_ : std::nullopt;
    const bool there = IsUsb() ? claimed_.has_value() : !IsEthernet() || model_.OnLine(at_);
    if (there && !open_) lost_ = false;
    if (there && !std::exchange(open_, true) && iPortType != COMMPORT_SERIAL)
        model_.ConnectionChanged(true, at_);
    return there;
}

bool PrinterPort::Open() {
    const bool opened = Reach(line_.Call("Open"));
    Note(opened ? "open" : "open fails");
    return opened;
}

bool PrinterPort::Close() {
    Pass();
    Note("close");
    Disconnect();
    return true;
}

bool PrinterPort::ReOpen() {
    const LineFault::How how = line_.Call("ReOpen");
    Pass();
    Disconnect();
    const bool found = !IsUsb() || Find({PRINTER_VENDOR_ID, names_.pid, names_.serial}, true);
    const bool opened = found && Reach(how);
    Note(opened ? "re-open" : "re-open fails");
    return opened;
}

bool PrinterPort::BackupPortInfo() {
    Note("back up");
    kept_ = names_;
    return true;
}
bool PrinterPort::RestoreportInfo() {
    Note("restore");
    names_ = kept_;
    return true;
}
bool PrinterPort::SaveLocationCurrentDevice() {
    if (IsUsb()) Note("save location");
    return IsUsb();
}
// There is one place on this bus.
bool PrinterPort::RestoreAddrNumFrmLocatio() {
    Pass();
    const std::optional<simulator::UsbIdentity> usb = model_.OnUsb(at_);
    if (!IsUsb() || !usb || usb->serial.empty()) return false;
    names_.serial = usb->serial.substr(usb->serial.size() - 1);
    Note("restore number " + names_.serial);
    return true;
}

bool PrinterPort::HandshakeCommunication() {
    if (IsEthernet()) return RunHandshake({15, 3000, true});
    return RunHandshake({5, 1500, false});
}

// Bytes

unsigned int PrinterPort::Fail(unsigned int* err, const char* what) {
    Note(what);
    *err = 1;
    return 0;
}

/// Whether bytes can go now. An Ethernet port that was closed connects by itself.
bool PrinterPort::Ready() {
    Pass();
    return !line_.bGone && (open_ || (IsEthernet() && Reach(LineFault::kNone)));
}

unsigned int PrinterPort::Write(unsigned char* buf, unsigned int len, unsigned int* err) {
    const LineFault::How how = line_.Call("Write");
    *err = 0;
    Pass();
    const bool broken = broken_ || how == LineFault::kConnectionGone;
    if (broken) Disconnect();
    // What was begun on one connection is not continued on another.
    if (broken || how == LineFault::kError || !Ready()) return Fail(err, "> nothing, error");
    Bytes bytes(buf, buf + (how == LineFault::kShort ? len / 2 : len));
    if (how == LineFault::kWrongByte && !bytes.empty()) bytes[bytes.size() / 2] ^= 0xFF;
    Note("> " + Shown(bytes));
    if (IsUsb() || model_.OnLine(at_)) model_.Receive(bytes.data(), bytes.size(), at_);
    Pass();
    return static_cast<unsigned int>(bytes.size());
}

/// All that was written has arrived, unless the connection was cut on its way; a printer that restarts since
/// has it all.
bool PrinterPort::Drain() {
    if (IsUsb()) return true;
    const LineFault::How how = line_.Call("Drain");
    Pass();
    if (how == LineFault::kNone && !line_.bGone && !(IsEthernet() && lost_)) return true;
    if (IsEthernet()) Disconnect();  // a line that is stopped stays open
    Note("not all has arrived");
    return false;
}

/// Waits until something is there to be read, or the read time-out has passed.
void PrinterPort::Await() {
    const std::uint64_t limit = uiTimeoutRX * (IsUsb() ? static_cast<std::uint64_t>(std::max(timem_, 1)) : 1);
    for (const std::uint64_t until = clock_.NowMs() + limit;;) {
        Pass();
        if (!received_.empty() || (IsUsb() && !line_.usbAnswers.empty())) return;
        if (at_ >= until || !open_ || broken_) return;
        clock_.Advance(std::clamp(model_.NextEvent(at_), at_ + 1, until) - at_);
    }
}

/// What one read brings of what has come; nothing when it is too much for a USB read.
Bytes PrinterPort::Take(std::size_t len) {
    Bytes taken;
    if (IsUsb() && !line_.usbAnswers.empty()) {
        taken = std::move(line_.usbAnswers.front());
        line_.usbAnswers.erase(line_.usbAnswers.begin());
        if (taken.size() > len) taken.clear();
    } else {
        const std::size_t count = std::min<std::size_t>(IsEthernet() ? len : kReadSlack, received_.size());
        const auto end = received_.begin() + static_cast<std::ptrdiff_t>(count);
        taken.assign(received_.begin(), end);
        received_.erase(received_.begin(), end);
    }
    return taken;
}

unsigned int PrinterPort::Read(unsigned char* buf, unsigned int len, unsigned int* err) {
    const LineFault::How how = line_.Call("Read");
    *err = 0;
    if (how == LineFault::kConnectionGone) Disconnect();
    if (how == LineFault::kError || how == LineFault::kConnectionGone || (IsEthernet() && !Ready()))
        return Fail(err, "< nothing, error");
    const std::uint64_t began = clock_.NowMs();
    if (line_.bGone) clock_.Advance(uiTimeoutRX);
    if (!line_.bGone) Await();
    Bytes bytes = Take(len);
    if (how == LineFault::kSilence) bytes.clear();
    if (bytes.empty()) {
        if (IsEthernet()) Disconnect();
        return Fail(err, ("< nothing for " + std::to_string(clock_.NowMs() - began) + " ms").c_str());
    }
    if (how == LineFault::kWrongByte) bytes[bytes.size() / 2] ^= 0xFF;
    std::copy(bytes.begin(), bytes.end(), buf);
    Note("< " + Shown(bytes));
    return static_cast<unsigned int>(bytes.size());
}

void PrinterPort::CleanRX() {
    Pass();
    if (!IsEthernet() && !IsUsb()) received_.clear();
}

void PrinterPort::Note(const std::string& what) {
    if (!line_.bRecord) return;
    const std::string settings = "packet " + std::to_string(uiWPacketSize) + ", write " +
                                 std::to_string(uiTimeoutTX) + " ms, read " + std::to_string(uiTimeoutRX) +
                                 " ms";
    if (settings_ != settings) std::printf("  (%s)\n", settings.c_str());
    settings_ = settings;
    std::printf("%s\n", what.c_str());
}

// The bus of the boot devices

bool PrinterPort::ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                                  unsigned short index, unsigned char* data, unsigned short length,
                                  unsigned int) {
    const Bytes bytes(data, data + length);
    if (line_.bRecord) std::printf("control > %s\n", Shown(bytes).c_str());
    return line_.Call("Control") == LineFault::kNone && !line_.bGone && open_ &&
           model_.Control({requestType, request, value, index, bytes}, clock_.NowMs());
}

std::unique_ptr<BootPort> ModelUsb::MakePort() {
    return std::make_unique<PrinterPort>(port_.clock_, port_.model_, port_.line_, COMMPORT_USB);
}

bool ModelUsb::ListDevices(const char* vid, std::string& list) {
    port_.Pass();
    list.clear();
    const std::optional<simulator::UsbIdentity> usb = port_.model_.OnUsb(port_.at_);
    if (usb && Hex(usb->vendor, 4) == vid)
        list += std::string(vid) + "|" + Hex(usb->product, 4) + "|" + usb->serial + "\n";
    return true;
}
