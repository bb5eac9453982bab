#ifndef UIVERSION_H
#define UIVERSION_H

#include "UIExport.h"

#include <QString>

// The version of the interface-element library, for programs that check what
// they were linked against at run time.
UI_EXPORT QString gfUiVersion();

#endif
