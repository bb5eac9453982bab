#ifndef IMAGESEQUENCEFUZZINPUT_H
#define IMAGESEQUENCEFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Loads one input as a sequence file and, because a mutated zlib stream
// rarely survives its checksum, also as an uncompressed record, exactly as
// the fuzz target and the corpus replay test both do.
//
// Returns false when the sequence broke a rule that holds for any input: a
// failed load left frames behind, a kept frame is null, or the kept frames
// exceed ImageSequence::mcMaxFrameBytes.
bool gfFeedImageSequence(const uint8_t* apData, size_t aSize);

#endif
