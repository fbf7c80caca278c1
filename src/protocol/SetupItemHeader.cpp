#include "protocol/SetupItemHeader.h"

void SetupItemHeader::AddTextLine(const char* text) {
    if (text != nullptr) strLines.emplace_back(text);
}
