#include "UBXLogindSession_p.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QVariantMap>

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
    if (!mfIsFound())
        return false;
    // One round trip for both properties: measured, it costs the detector less
    // than a Get for each.
    QDBusMessage lCall = QDBusMessage::createMethodCall(
        sService, mvPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("GetAll"));
    lCall << QStringLiteral("org.freedesktop.login1.Session");
    const QDBusReply<QVariantMap> lReply = gfCall(lCall);
    if (!lReply.isValid())
        return false;
    const QVariant lLocked = lReply.value().value(QStringLiteral("LockedHint"));
    const QVariant lActive = lReply.value().value(QStringLiteral("Active"));
    if (lLocked.typeId() != QMetaType::Bool || lActive.typeId() != QMetaType::Bool)
        return false;
    aBlocked = lLocked.toBool() || !lActive.toBool();
    return true;
}
