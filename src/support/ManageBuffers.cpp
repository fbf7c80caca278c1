#include "support/ManageBuffers.h"

unsigned long ManageBuffers::CalcChecksum(const unsigned char* buf, unsigned long from, unsigned long to) {
    if (from > to) return 0;
    unsigned long sum = buf[to];
    for (unsigned long i = from; i < to; ++i) sum += buf[i];
    return sum;
}

int ManageBuffers::GetBufferPosition(const unsigned char* buf, int len, int start,
                                     const unsigned char* pattern, int patternLen) {
    if (patternLen <= 0) return -1;
    int matched = 0;
    for (int i = start < 0 ? 0 : start; i < len; ++i) {
        if (buf[i] != pattern[matched]) matched = 0;
        if (buf[i] == pattern[matched]) ++matched;
        if (matched == patternLen) return i - patternLen + 1;
    }
    return -1;
}
