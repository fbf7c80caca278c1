#pragma once

#include <string>
#include <vector>

/// The lines that head a printer's setup.
class SetupItemHeader {
 public:
    /// Appends a copy; a missing text adds nothing.
    void AddTextLine(const char* text) {
        if (text != nullptr) strLines.emplace_back(text);
    }

    const std::vector<std::string>& GetTextLines() const { return strLines; }

 private:
    std::vector<std::string> strLines;
};
