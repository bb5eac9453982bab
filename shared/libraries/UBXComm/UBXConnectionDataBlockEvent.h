#ifndef UBXCONNECTIONDATABLOCKEVENT_H
#define UBXCONNECTIONDATABLOCKEVENT_H

#include "UBXCommExport.h"

#include <QByteArray>
#include <QEvent>

// Posted to a UBXConnection from any thread: the connection sends the bytes as
// a data block of the given type on its own thread. The event holds a private
// copy, so the poster may reuse its array, raw data included, at once.
class UBXCOMM_EXPORT UBXConnectionDataBlockEvent : public QEvent
{
public:
    static constexpr QEvent::Type cType = QEvent::Type(1001);

    UBXConnectionDataBlockEvent(const QByteArray& aData, quint8 aType);
    ~UBXConnectionDataBlockEvent() override;

    QByteArray mfGetData() const { return mvData; }
    quint8 mfGetType() const { return mvType; }

private:
    QByteArray mvData;
    quint8 mvType;
};

#endif
