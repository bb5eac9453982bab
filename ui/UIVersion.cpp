#include "UIVersion.h"

QString gfUiVersion()
{
    return QStringLiteral(BEAMORA_VERSION);
}
