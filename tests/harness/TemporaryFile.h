#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "harness/Bytes.h"

/// A file that is removed with the object.
struct TemporaryFile {
    TemporaryFile(const std::string& name, const Bytes& content)
        : path(testing::TempDir() + std::to_string(getpid()) + name) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { unlink(path.c_str()); }

    const std::string path;
};
