#include "package/PSWHeaderBootLoader.h"

#include "package/PSWLoaderFields.h"

const char* const PSWHeaderBootLoader::HeaderMarker[] = {"b", nullptr};

int PSWHeaderBootLoader::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    return ReadFields(PSWLoaderFields<PSWHeaderBootLoader>::kFields, file, position, *this) ? 0 : -1;
}
