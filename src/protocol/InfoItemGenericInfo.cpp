#include "protocol/InfoItemGenericInfo.h"

void InfoItemGenericInfo::AddTextLine(const char* text) {
    if (text != nullptr) strLines.emplace_back(text);
}

void InfoItemGenericInfo::Clean() {
    strLines.clear();
}
