#ifndef OVERLAYFUZZINPUT_H
#define OVERLAYFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Runs one input through UBXOverlay exactly as the fuzz target and the corpus
// replay test both do: the bytes are loaded as a document from outside, and
// an accepted document is painted twice on a small image.
//
// Returns false when the overlay broke a rule that holds for any input: a
// refused document was not emptied; an accepted one nests elements deeper
// than the limit; or two paintings of the same document found different
// problems. Needs a QGuiApplication.
bool gfFeedOverlay(const uint8_t* apData, size_t aSize);

#endif
