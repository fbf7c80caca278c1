#pragma once

/// Byte sums and pattern positions in buffers.
class ManageBuffers {
 public:
    /// The sum of the bytes from index `from` to index `to`, both included; 0 when `from` is above `to`.
    static unsigned long CalcChecksum(const unsigned char* buf, unsigned long from, unsigned long to);

    /// The position of the first complete match at or after `start`, or -1. A byte that breaks a match is
    /// looked at once more, as a first byte only: AB is found in AAB, but AAB is not in AAAB (kept:
    /// required).
    static int GetBufferPosition(const unsigned char* buf, int len, int start, const unsigned char* pattern,
                                 int patternLen);
};
