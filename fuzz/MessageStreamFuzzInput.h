#ifndef MESSAGESTREAMFUZZINPUT_H
#define MESSAGESTREAMFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Runs one input through a UBXMessageStream over an in-memory device, exactly
// as the fuzz target and the corpus replay test both do. The input is a
// sequence of pieces, each a control byte c followed by its bytes:
//   c & 0x80:  restart listening first (stopping after one message if c & 0x40),
//              then (c & 0x3F) + 1 bytes;
//   c & 0x40:  a count byte r and a pattern of (c & 0x3F) + 1 bytes, repeated
//              to (r + 1) * 512 bytes, so a small input can exceed what one
//              read takes (64 KiB);
//   c & 0x20:  ((c & 0x1F) + 1) * 64 bytes;
//   otherwise: (c & 0x1F) + 1 bytes.
// A piece cut short by the end of the input keeps what there is. Events are
// processed after every piece.
//
// Returns false when the stream broke a rule that holds for any input: it read
// more than the device held; it left more than one byte unread after
// listening resumed and the device kept announcing its data; or a received
// message, sent again by another stream, did not come back unchanged.
// Needs a QCoreApplication.
bool gfFeedMessageStream(const uint8_t* apData, size_t aSize);

#endif
