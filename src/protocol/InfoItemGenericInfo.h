#pragma once

#include <string>
#include <vector>

/// Lines of text that the printer reports about itself, in its order.
class InfoItemGenericInfo {
 public:
    /// Appends a copy; a missing text adds nothing.
    void AddTextLine(const char* text) {
        if (text != nullptr) strLines.emplace_back(text);
    }

    /// Removes every line.
    void Clean() { strLines.clear(); }

    const std::vector<std::string>& GetTextLines() const { return strLines; }

 private:
    std::vector<std::string> strLines;
};
