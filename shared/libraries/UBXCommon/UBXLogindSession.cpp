#include "UBXLogindSession_p.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>

#include <unistd.h>

namespace {
const QString sService = QStringLiteral("org.freedesktop.login1");
constexpr int sWaitMs = 1000;

// The system bus connection is opened by the first call and shared by the
// process; a missing bus answers every call with an error at once.
QDBusMessage gfCall(const QDBusMessage& aCall)
{
    return QDBusConnection::systemBus().call(aCall, QDBus::Block, sWaitMs);
}
} // namespace

UBXLogindSession::UBXLogindSession()
{
    const QString lId = qEnvironmentVariable("XDG_SESSION_ID");
    QDBusMessage lCall = QDBusMessage::createMethodCall(
        sService, QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"),
        lId.isEmpty() ? QStringLiteral("GetSessionByPID") : QStringLiteral("GetSession"));
    if (lId.isEmpty())
        lCall << static_cast<uint>(::getpid());
    else
        lCall << lId;
    const QDBusReply<QDBusObjectPath> lReply = gfCall(lCall);
    if (lReply.isValid())
        mvPath = lReply.value().path();
}

bool UBXLogindSession::mfReadBlocked(bool& aBlocked) const
{
    bool lLocked = false;
    if (!mfIsFound() || !mfReadFlag(QStringLiteral("LockedHint"), lLocked))
        return false;
    // A locked session is blocked whatever its seat says: no second read.
    bool lActive = false;
    if (!lLocked && !mfReadFlag(QStringLiteral("Active"), lActive))
        return false;
    aBlocked = lLocked || !lActive;
    return true;
}

bool UBXLogindSession::mfReadFlag(const QString& aProperty, bool& aValue) const
{
    QDBusMessage lCall = QDBusMessage::createMethodCall(
        sService, mvPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    lCall << QStringLiteral("org.freedesktop.login1.Session") << aProperty;
    const QDBusReply<QDBusVariant> lReply = gfCall(lCall);
    if (!lReply.isValid() || lReply.value().variant().typeId() != QMetaType::Bool)
        return false;
    aValue = lReply.value().variant().toBool();
    return true;
}
