#ifndef MEMORYBYTES_H
#define MEMORYBYTES_H

#include <QByteArray>

// The byte store behind the in-memory devices: appended bytes become
// readable, written bytes are collected, and any read that asks for more than
// is there is recorded, since a socket would answer it short and the code
// under test must never need that.
class MemoryBytes
{
public:
    // Drops what was read, so a long feed does not keep every byte alive.
    void mpAppend(const QByteArray& aData);
    void mpWrite(const char* apData, qint64 aLength) { mvWritten.append(apData, aLength); }

    qint64 mfAvailable() const { return mvPending.size() - mvReadPosition; }
    qint64 mfTake(char* apData, qint64 aMaxSize);
    QByteArray mfTake(qint64 aMaxSize);

    QByteArray mfWritten() const { return mvWritten; }
    qint64 mfConsumed() const { return mvConsumed; }
    bool mfHasOverRead() const { return mvOverRead; }

private:
    QByteArray mvPending;
    qint64 mvReadPosition = 0;
    qint64 mvConsumed = 0;
    bool mvOverRead = false;
    QByteArray mvWritten;
};

#endif
