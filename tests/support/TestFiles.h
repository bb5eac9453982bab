#ifndef TESTFILES_H
#define TESTFILES_H

#include <QByteArray>
#include <QFile>
#include <QString>

// Writes the whole content, replacing what was there; true when all of it landed.
inline bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           lFile.write(aContent) == aContent.size();
}

// A file of the kernel's USB-storage listing, as it reads for one storage host.
inline QByteArray gfUsbListing(const QByteArray& aVendor = "Lumora",
                               const QByteArray& aProduct = "Beamora")
{
    return "   Host scsi6: usb-storage\n       Vendor: " + aVendor +
           "\n      Product: " + aProduct +
           "\nSerial Number: 0123456789AB\n     Protocol: Transparent SCSI\n"
           "    Transport: Bulk\n       Quirks:\n";
}

#endif
