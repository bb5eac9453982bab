#ifndef LAUNCHERSETTINGS_H
#define LAUNCHERSETTINGS_H

#include <QString>

// The launcher's fixed names and delays, with the environment hooks that
// tests and packagers use to replace them. Without the hooks the values are
// the product's own.

// "/usr/bin/beamora", or the program named by BEAMORA_CLIENT_PROGRAM.
QString gfClientProgram();

// 60,000 ms, or the non-negative number of milliseconds in BEAMORA_EXIT_DELAY_MS.
int gfClientExitDelayMs();

// The single-instance channel of a user: "beamoralauncher_" + user name. When
// XDG_RUNTIME_DIR names a directory (private to the user), the channel lives
// there as an absolute path, so other users of a shared /tmp cannot take it.
QString gfInstanceGuardName(const QString& aUserName);

// The program path as one word of a command line that QProcess splits at
// blanks: quoted when it holds blanks or quotes, unchanged otherwise.
QString gfQuotedForCommandLine(const QString& aProgram);

#endif
