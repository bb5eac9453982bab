#ifndef ICLOGGERSTREAM_H
#define ICLOGGERSTREAM_H

#include "ICLoggingExport.h"

#include <QString>
#include <QTextStream>

#include <string>

class ICLoggerModel;

// A text stream whose destruction logs everything written into it as one item:
//   ICLoggerStream(ICLoggerModel::instance(), Info) << "took " << lMs << " ms";
// With a null model the text is dropped.
class ICLOGGING_EXPORT ICLoggerStream : public QTextStream
{
public:
    ICLoggerStream(ICLoggerModel* apModel, qint32 aLevel, quint64 aClassId = 0);
    // A new stream that starts with the other's text, model, level and tag.
    ICLoggerStream(const ICLoggerStream& aOther);
    ICLoggerStream& operator=(const ICLoggerStream&) = delete;
    ~ICLoggerStream() override;

    template <typename T> ICLoggerStream& operator<<(const T& aValue)
    {
        static_cast<QTextStream&>(*this) << aValue;
        return *this;
    }
    ICLoggerStream& operator<<(const wchar_t* aText);
    ICLoggerStream& operator<<(const std::wstring& aText);

private:
    ICLoggerModel* mvModel;
    QString mvBuffer;
    qint32 mvLevel;
    quint64 mvClassId;
};

#endif
