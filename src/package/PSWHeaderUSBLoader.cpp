#include "package/PSWHeaderUSBLoader.h"

#include "package/PSWLoaderFields.h"

const char* const PSWHeaderUSBLoader::HeaderMarker[] = {"u", nullptr};

int PSWHeaderUSBLoader::ExtractHederInfo(ByteView file, int position, bool* /*upgradeFieldsFollow*/) {
    return ReadFields(PSWLoaderFields<PSWHeaderUSBLoader>::kFields, file, position, *this) ? 0 : -1;
}
