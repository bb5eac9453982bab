#ifndef PLAINSOCKET_H
#define PLAINSOCKET_H

#include <cstddef>
#include <unistd.h>

// The yardstick side of the socket benchmarks: whole buffers through plain
// POSIX calls, looping over short writes and reads; false on error or end.
inline bool gfWriteAll(int aFd, const char* apData, size_t aLength)
{
    while (aLength > 0) {
        const ssize_t lWritten = ::write(aFd, apData, aLength);
        if (lWritten <= 0)
            return false;
        apData += lWritten;
        aLength -= static_cast<size_t>(lWritten);
    }
    return true;
}

inline bool gfReadAll(int aFd, char* apData, size_t aLength)
{
    while (aLength > 0) {
        const ssize_t lRead = ::read(aFd, apData, aLength);
        if (lRead <= 0)
            return false;
        apData += lRead;
        aLength -= static_cast<size_t>(lRead);
    }
    return true;
}

#endif
