#ifndef UBXLOGINDSESSION_P_H
#define UBXLOGINDSESSION_P_H

#include <QString>

// The login manager's (logind's) record of the session this process runs in,
// read over the system bus. The session is looked up once, at construction:
// the one named by XDG_SESSION_ID, else the one this process belongs to.
// Without a system bus, without logind, or outside any session there is none,
// and the lock state is left to the desktop alone.
class UBXLogindSession
{
public:
    UBXLogindSession();

    bool mfIsFound() const { return !mvPath.isEmpty(); }

    // Reads the session's state afresh, both properties in one call. True
    // when logind answered; aBlocked is then true when the session is locked
    // (LockedHint) or not the active one of its seat (Active false). False,
    // aBlocked untouched, when there is no session or no answer within 1 s.
    bool mfReadBlocked(bool& aBlocked) const;

private:
    QString mvPath; // the session's object path; empty when none was found
};

#endif
