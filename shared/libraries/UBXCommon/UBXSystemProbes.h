#ifndef UBXSYSTEMPROBES_H
#define UBXSYSTEMPROBES_H

#include "UBXCommonExport.h"

#include <QString>

// What the launcher learns about the machine. Linux implementations without
// state between calls (apart from the logind session, looked up once): each
// call reads the environment, asks the desktop and logind or reads the
// kernel's USB listings afresh, on the calling thread.

// The login name from USER (its bytes as Latin-1), empty when USER is unset.
UBXCOMMON_EXPORT QString gfGetUserName();

// True when the user's session is not the active, unlocked one on the screen.
// The desktop is asked first, through "gdbus" and "gnome-screensaver-command"
// run by "sh -c": on Unity the screen saver and the lock; on GNOME
// (GDMSESSION "gnome") the screen saver, then the presence, which blocks when
// other than available. Where GNOME lacks "gnome-screensaver-command" (the
// shell finds no such command), GNOME Shell's org.gnome.ScreenSaver answers
// on the session bus instead. A tool or service that is missing or does not
// answer within its wait (1 s and 1.5 s on Unity, 30 s each for the GNOME
// tools, 1 s for the shell) counts as blocked, and a tool is killed together
// with everything it started. Other desktops count as active, without asking.
// Then, on every desktop, logind on the system bus: the session of
// XDG_SESSION_ID, else of this process, is blocked when locked (LockedHint)
// or not the active one of its seat. No system bus, no logind or no such
// session leaves the desktop's answer alone. The session is looked up once
// per process; its state is read on every call.
UBXCOMMON_EXPORT bool gfIsSessionBlocked();

// What gfIsSessionBlocked asks, in words for a log line: "logind and the
// desktop's screen saver", "logind", "the desktop's screen saver", or empty
// when the session always counts as active.
UBXCOMMON_EXPORT QString gfGetSessionLockSources();

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
