#ifndef SEQUENCEINFLATER_P_H
#define SEQUENCEINFLATER_P_H

#include <QByteArray>
#include <QIODevice>

#include <zlib.h>

// Reads a buffer in the qCompress layout (4-byte big-endian length of the
// inflated data, then a zlib stream) as a sequential device that inflates only
// as far as its reader reads. qUncompress trusts the length and inflates
// everything at once; here a reader that stops early costs nothing more, and
// no more than the claimed length, at most aMaxBytes, is ever produced.
class SequenceInflater : public QIODevice
{
public:
    // open() fails when the claimed length is 0 or above aMaxBytes.
    SequenceInflater(const QByteArray& aCompressed, qint64 aMaxBytes);
    ~SequenceInflater() override;

    bool open(OpenMode aMode) override;
    bool isSequential() const override { return true; }

    // False once the stream proved broken or truncated, or holds more than it
    // claimed. A stream read to its claimed length is checked to its end,
    // checksum included; one read less far is judged only as far as it was
    // read.
    bool mfIsIntact();

protected:
    qint64 readData(char* apData, qint64 aMaxSize) override;
    qint64 writeData(const char* apData, qint64 aMaxSize) override;

private:
    // One inflate() call into aSize bytes at apOut; returns the bytes made.
    qint64 mfInflate(char* apOut, qint64 aSize);

    const QByteArray mvCompressed;
    const qint64 mvMaxBytes;
    z_stream mvStream{};
    bool mvInitialised = false;
    qint64 mvClaimed = 0;
    qint64 mvProduced = 0;
    bool mvEnded = false;
    bool mvBroken = false;
};

#endif
