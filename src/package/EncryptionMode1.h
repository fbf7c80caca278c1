#pragma once

/// The scrambling of modules in mode 1: each byte is combined with the sum of the key and its position in the
/// run, which counts from `start`. Its own inverse; key 0 means not scrambled. Buffers as for EncryptionPSW.
class EncryptionMode1 {
 public:
    /// A fresh key, 1 to 254.
    static unsigned char GetScramblebyte();

    /// Scrambles or descrambles in place. Always true.
    static bool EncryptionBuffer(int key, unsigned char* buf, int start, int length);
    static bool DecryptionBuffer(int key, unsigned char* buf, int start, int length);
};
