#ifndef UBXSYSTEMPROBES_H
#define UBXSYSTEMPROBES_H

#include "UBXCommonExport.h"

#include <QString>

// What the launcher learns about the machine. Linux implementations without
// state between calls: each call reads the environment, runs the desktop
// tools or reads the kernel's USB listings afresh, on the calling thread.

// The login name from USER (its bytes as Latin-1), empty when USER is unset.
UBXCOMMON_EXPORT QString gfGetUserName();

// True when the user's session is not the active, unlocked one on the screen:
// screen saver active, session locked, or (GNOME) presence other than
// available. Asks the desktop through "gdbus" and "gnome-screensaver-command"
// run by "sh -c"; a tool that is missing or does not answer within its wait
// (1 s and 1.5 s on Unity, 30 s each on GNOME) counts as blocked, and is
// killed together with everything it started. Desktops other than Unity and
// GNOME always count as active, without running anything.
UBXCOMMON_EXPORT bool gfIsSessionBlocked();

// True when a USB storage host listed in /proc/scsi/usb-storage/ (or in the
// directory named by BEAMORA_USB_STORAGE_DIR) carries exactly, case included,
// aVendorName and aProductName. Vendor and product values carry over from one
// listing file to the next, so a file that lacks one of the lines is compared
// with the value read before it. A missing or empty directory answers false;
// an unreadable file logs "Error opening USB information ..." and the walk goes
// on. The identifiers, the label and aApplicationPath are accepted for other
// platforms' probes and left alone.
UBXCOMMON_EXPORT bool gpDetectDevice(const QString& aVendorName, const QString& aVendorId,
                                     const QString& aProductName, const QString& aProductId,
                                     const QString& aVolumeLabel, QString& aApplicationPath);

// True when the directory that gpDetectDevice reads exists. Kernels built
// without the legacy SCSI /proc interface have none; gfDetectSysfsUsbDevice
// answers for them.
UBXCOMMON_EXPORT bool gfHasUsbStorageListing();

// True when one USB device under /sys/bus/usb/devices (or the directory named
// by BEAMORA_SYSFS_USB_DIR) has a "manufacturer" and a "product" attribute
// that, trimmed, equal aVendorName and aProductName exactly. Each device is
// judged on its own attributes.
UBXCOMMON_EXPORT bool gfDetectSysfsUsbDevice(const QString& aVendorName,
                                             const QString& aProductName);

#endif
