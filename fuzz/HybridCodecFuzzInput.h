#ifndef HYBRIDCODECFUZZINPUT_H
#define HYBRIDCODECFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Decodes one input as an encoded screen frame, exactly as the fuzz target
// and the corpus replay test both do: through the parallel and the one-by-one
// decoder, each once as plain frame bytes and once as a compressed frame.
// Frames that announce a canvas beyond 2048 x 2048 pixels are left out.
// Returns false when a decoder broke a rule that holds for any input: its
// canvas is larger than the frames allow, or a frame that painted nothing
// reported a painted area.
bool gfDecodeHybridStream(const uint8_t* apData, size_t aSize);

#endif
