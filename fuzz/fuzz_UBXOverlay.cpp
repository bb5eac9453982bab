#include "OverlayFuzzInput.h"

#include <QGuiApplication>

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* apArgc, char*** apArgv)
{
    // Labels need fonts, which need a GUI application; no screen is needed.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication sApplication(*apArgc, *apArgv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* apData, size_t aSize)
{
    if (!gfFeedOverlay(apData, aSize))
        std::abort();
    return 0;
}
