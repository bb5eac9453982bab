#ifndef MESSAGESTREAMFUZZINPUT_H
#define MESSAGESTREAMFUZZINPUT_H

#include <cstddef>
#include <cstdint>

// Runs one input through a UBXMessageStream over an in-memory device, exactly
// as the fuzz target and the corpus replay test both do. The input is a
// sequence of pieces, each a control byte followed by its bytes:
//   bit 7 set:   restart listening first (stop after one message if bit 6 is
//                set), then (c & 0x3F) + 1 bytes;
//   bit 6 set:   ((c & 0x3F) + 1) KiB, enough to exceed one 64 KiB read;
//   otherwise:   (c & 0x3F) + 1 bytes.
// The last piece may be short. Events are processed after every piece.
//
// Returns false when the stream broke a rule that holds for any input: it read
// more than the device held; it left more than one byte unread after
// listening resumed and the device kept announcing its data; or a received
// message, sent again by another stream, did not come back unchanged.
// Needs a QCoreApplication.
bool gfFeedMessageStream(const uint8_t* apData, size_t aSize);

#endif
