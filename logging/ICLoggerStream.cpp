#include "ICLoggerStream.h"

#include "ICLoggerModel.h"

#include <QIODevice>

ICLoggerStream::ICLoggerStream(ICLoggerModel* apModel, qint32 aLevel, quint64 aClassId)
    : mvModel(apModel), mvLevel(aLevel), mvClassId(aClassId)
{
    setString(&mvBuffer, QIODevice::ReadWrite);
}

ICLoggerStream::ICLoggerStream(const ICLoggerStream& aOther)
    : QTextStream(), mvModel(aOther.mvModel), mvLevel(aOther.mvLevel), mvClassId(aOther.mvClassId)
{
    const_cast<ICLoggerStream&>(aOther).flush();
    mvBuffer = aOther.mvBuffer;
    setString(&mvBuffer, QIODevice::ReadWrite);
    seek(mvBuffer.size());
}

ICLoggerStream::~ICLoggerStream()
{
    flush();
    if (mvModel)
        mvModel->mpLog(mvLevel, mvBuffer, mvClassId);
    setString(nullptr);
}

ICLoggerStream& ICLoggerStream::operator<<(const wchar_t* aText)
{
    return *this << QString::fromWCharArray(aText);
}

ICLoggerStream& ICLoggerStream::operator<<(const std::wstring& aText)
{
    return *this << QString::fromStdWString(aText);
}
