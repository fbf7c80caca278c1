#include "package/ByteView.h"

#include <algorithm>

OwnedBytes CopyBytes(ByteView bytes) {
    OwnedBytes copy = AllocateBytes(bytes.size);
    if (copy != nullptr) std::copy_n(bytes.data, bytes.size, copy.get());
    return copy;
}
