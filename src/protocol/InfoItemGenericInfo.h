#pragma once

#include <string>
#include <vector>

/// Lines of text that the printer reports about itself, in its order.
class InfoItemGenericInfo {
 public:
    /// Appends a copy; a missing text adds nothing.
    void AddTextLine(const char* text);

    /// Removes every line.
    void Clean();

    const std::vector<std::string>& GetTextLines() const { return strLines; }

 private:
    std::vector<std::string> strLines;
};
