#pragma once

#include <string>
#include <utility>
#include <vector>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/PackageBytes.h"

/// A correct module file, from which a test departs in the points it names.
class ModuleBytes {
 public:
    explicit ModuleBytes(Bytes body) : body_(std::move(body)) {}

    /// Sets the value of a key, or adds the key; a null value takes it out.
    ModuleBytes& Set(const std::string& key, const char* value) {
        for (auto line = lines_.begin(); line != lines_.end(); ++line) {
            if (line->first != key) continue;
            line = lines_.erase(line);
            break;
        }
        if (value != nullptr) lines_.emplace_back(key, value);
        return *this;
    }
    ModuleBytes& Twice(const std::string& key) {
        lines_.emplace_back(key, "again");
        return *this;
    }
    ModuleBytes& Key(unsigned char key, int mode) {
        key_ = key;
        mode_ = mode;
        return *this;
    }
    ModuleBytes& Mark(char mark) {
        mark_ = mark;
        return *this;
    }
    ModuleBytes& LineEnd(std::string end) {
        lineEnd_ = std::move(end);
        return *this;
    }

    /// The whole file. Its size less 12 is what "FILE_SIZE:" says, unless a test has set the key.
    Bytes File() const {
        const std::size_t size = 4102 + body_.size() + 18;
        Bytes file = FromText("HEADER END" + std::string(1, mark_) + "\n");
        bool sized = false;
        for (const auto& [key, value] : lines_) {
            file = file + FromText(key + value + lineEnd_);
            sized = sized || key == "FILE_SIZE:";
        }
        if (!sized) file = file + FromText("FILE_SIZE:" + std::to_string(size - 12) + lineEnd_);
        file.resize(4102, ' ');
        file[4101] = key_;
        file = file + Body();
        file.resize(size, 0xE7);
        return WithChecksums(file);
    }

    static Bytes WithChecksums(Bytes file) {
        std::uint64_t sum = 0;
        std::uint64_t mixed = 0;
        for (std::size_t i = 0; i < file.size() - 12; ++i) {
            sum += file[i + 6];
            mixed += (i & 0xFFFF) ^ file[i + 6];
        }
        return With(With(file, file.size() - 4, 2, sum), file.size() - 2, 2, mixed);
    }

 private:
    Bytes Body() const {
        Bytes body = body_;
        const auto length = static_cast<int>(body.size());
        if (mode_ == 1) EncryptionMode1::EncryptionBuffer(key_, body.data(), 0, length);
        if (mode_ == 0) EncryptionPSW::EncryptionBuffer(key_, body.data(), 0, length);
        return body;
    }

    std::vector<std::pair<std::string, std::string>> lines_ = {
        {"REL:", "1.00"}, {"MOD_ID:", "D"}, {"DATE:", "070324"}, {"CODE:", "C1"}};
    Bytes body_;
    unsigned char key_ = 0;
    int mode_ = -1;
    char mark_ = 'B';
    std::string lineEnd_ = "\n";
};
