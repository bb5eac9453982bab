#ifndef CONNECTIONFUZZINPUT_H
#define CONNECTIONFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Runs one input through a UBXConnection over an in-memory transport, exactly
// as the fuzz target and the corpus replay test both do. The first byte
// chooses the block type byte (bit 0); the rest is a sequence of pieces, each
// a control byte c followed by its bytes:
//   c & 0x80:  ((c & 0x7F) + 1) * 64 bytes;
//   otherwise: (c & 0x7F) + 1 bytes.
// A piece cut short by the end of the input keeps what there is. Each piece
// is one read of the transport; events are processed after every piece.
//
// Returns false when the connection broke a rule that holds for any input: it
// read more than the transport held; it left a whole header unread; or the
// blocks and refusals it reported differ from those of a plain parse of all
// bytes in one piece.
// Needs a QCoreApplication.
bool gfFeedConnection(const uint8_t* apData, size_t aSize);

#endif
