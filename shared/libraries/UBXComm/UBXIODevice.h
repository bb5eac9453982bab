#ifndef UBXIODEVICE_H
#define UBXIODEVICE_H

#include "UBXCommExport.h"

#include <QByteArray>
#include <QObject>
#include <QString>

// The byte device a message stream reads from and writes to. Local and network
// connections implement it over their sockets, so one framing serves both.
// Implementations emit sgReadyRead() whenever new bytes can be read and never
// own the socket they wrap.
class UBXCOMM_EXPORT UBXIODevice : public QObject
{
    Q_OBJECT
public:
    explicit UBXIODevice(QObject* apParent = nullptr);
    ~UBXIODevice() override;

    virtual qint64 mfWrite(const QByteArray& aData) = 0;
    virtual qint64 mfWrite(const char* apData, qint64 aLength) = 0;
    virtual qint64 mfBytesAvailable() = 0;
    // No user of the library depends on it; the socket devices answer false.
    virtual bool mfIsReserved() = 0;
    virtual qint64 mfRead(char* apData, qint64 aMaxSize) = 0;
    virtual QByteArray mfRead(qint64 aMaxSize) = 0;
    virtual QByteArray mfReadAll() = 0;
    virtual bool mfFlush() = 0;

    // A free-form label for diagnostics; empty unless the owner sets one.
    QString mfGetName() const { return mvName; }
    void mpSetName(const QString& aName) { mvName = aName; }

Q_SIGNALS:
    void sgReadyRead();

private:
    QString mvName;
};

#endif
