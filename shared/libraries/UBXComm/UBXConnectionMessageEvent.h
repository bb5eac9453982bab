#ifndef UBXCONNECTIONMESSAGEEVENT_H
#define UBXCONNECTIONMESSAGEEVENT_H

#include "UBXCommExport.h"

#include <QEvent>
#include <QString>

// Posted to a UBXConnection from any thread: the connection sends the text as
// a message of type 0 on its own thread.
class UBXCOMM_EXPORT UBXConnectionMessageEvent : public QEvent
{
public:
    static constexpr QEvent::Type cType = QEvent::Type(1000);

    explicit UBXConnectionMessageEvent(const QString& aMessage);
    ~UBXConnectionMessageEvent() override;

    QString mfGetMessage() const { return mvMessage; }

private:
    QString mvMessage;
};

#endif
