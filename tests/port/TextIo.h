#pragma once

#include <string>

#include "port/ComPort.h"

/// Writes a text; the bytes that the port took.
inline unsigned int Put(CComPort& port, const std::string& text, unsigned int& err) {
    return port.Write(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<unsigned int>(text.size()), &err);
}

/// What one read of up to `length` bytes brings.
inline std::string Get(CComPort& port, unsigned int length, unsigned int& err) {
    std::string buffer(length + CComPort::kReadSlack, '\0');
    buffer.resize(port.Read(reinterpret_cast<unsigned char*>(buffer.data()), length, &err));
    return buffer;
}

/// Bytes of which no stretch is like another.
inline std::string Pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i * 7 + i / 251);
    return text;
}
