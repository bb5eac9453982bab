#ifndef UBXSCREENGRABBERDATABASE_H
#define UBXSCREENGRABBERDATABASE_H

#include "UBXCommonExport.h"

#include <QMutex>
#include <QString>
#include <QVector>

// Screen-grab data shared between the capture, encoding and sending threads.
// It counts its references and remembers the owner tag of every holder, so
// the owner list shows at any time who still holds it. The release that
// brings the count to 0 deletes the object.
class UBXCOMMON_EXPORT UBXScreenGrabberDataBase
{
public:
    explicit UBXScreenGrabberDataBase(quint32 aType);
    virtual ~UBXScreenGrabberDataBase();
    UBXScreenGrabberDataBase(const UBXScreenGrabberDataBase&) = delete;
    UBXScreenGrabberDataBase& operator=(const UBXScreenGrabberDataBase&) = delete;

    quint32 mfGetType() const { return mvType; }
    // An empty owner takes a reference without a tag.
    void mpRef(QString aOwner);
    // Releasing without a reference is a programming error and asserts.
    void mpUnRef(QString aOwner);
    QVector<QString> mfGetOwners() const;
    bool mfIsShared() const;

private:
    const quint32 mvType;
    mutable QMutex mvMutex;
    quint32 mvRefCounter = 0;
    QVector<QString> mvOwners;
};

#endif
