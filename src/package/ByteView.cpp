#include "package/ByteView.h"

#include <algorithm>
#include <new>

std::unique_ptr<unsigned char[]> CopyBytes(ByteView bytes) {
    std::unique_ptr<unsigned char[]> copy(new (std::nothrow) unsigned char[bytes.size]);
    if (copy != nullptr) std::copy_n(bytes.data, bytes.size, copy.get());
    return copy;
}
