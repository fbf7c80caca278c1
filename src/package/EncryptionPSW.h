#pragma once

/// The scrambling of package payloads, and of modules in mode 0. Bytes are changed by a key and by their
/// position in the run, which counts from `start`. Only the low 8 bits of a key take part; key 0 means not
/// scrambled. The caller's buffer holds `start` + `length` bytes; a length of 0 or less touches nothing.
class EncryptionPSW {
 public:
    /// A fresh key, 1 to 254.
    static unsigned char GetScramblebyte();

    /// A status-inquiry byte, scrambled or descrambled: the operation is its own inverse.
    static unsigned char EncryptionGSIByte(unsigned char value, unsigned char key);
    static unsigned char DecryptionGSIByte(unsigned char value, unsigned char key);

    /// `value` rotated by `count` bits to the left or to the right; not at all for a count below 1.
    static unsigned char ByteRotateSx(unsigned char value, int count);
    static unsigned char ByteRotateDx(unsigned char value, int count);

    /// Scrambles or descrambles in place. Always true.
    static bool EncryptionBuffer(int key, unsigned char* buf, int start, int length);
    static bool DecryptionBuffer(int key, unsigned char* buf, int start, int length);

    /// The routines for odd (Dispari) and even (Pari) keys. Always 1.
    static int EncryptionBufferFromBufferDispari(int key, unsigned char* buf, int start, int length);
    static int EncryptionBufferFromBufferPari(int key, unsigned char* buf, int start, int length);
    static int DecryptionBufferFromBufferDispari(int key, unsigned char* buf, int start, int length);
    static int DecryptionBufferFromBufferPari(int key, unsigned char* buf, int start, int length);
};
