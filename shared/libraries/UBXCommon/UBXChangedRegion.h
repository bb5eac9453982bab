#ifndef UBXCHANGEDREGION_H
#define UBXCHANGEDREGION_H

#include "UBXCommonExport.h"

#include <QRegion>

// Finds where two grabs of the screen differ, cheaply. The pictures are cut
// into tiles of 32 x 32 pixels; each pass compares one line of every tile, the
// line taken from a fixed rotation of all 32 (0, 4, ..., 28, 1, 5, ..., 31)
// whose position is process-wide and moves on by one with every pass, so that
// successive calls sample far-apart lines first and 32 passes see every line.
// Changed tiles are gathered in groups of 5 x 5 tiles, the groups merged into
// rectangles by gfFindClusters, and each rectangle trimmed to the changed
// tiles at its borders.
//
// Both buffers hold height lines of width * bytesPerPixel bytes, each line
// padded to a multiple of 4 bytes; padding is never compared. The result is
// empty when a buffer is null or width or height is below 1. A group one tile
// wide (the last one when the number of tile columns is 1 more than a multiple
// of 5) always counts as changed; the rectangles made from it are kept only
// when their trimmed height comes out at least 1 tile. The rotation is not
// locked: calls on several threads interleave their sampling orders.
UBXCOMMON_EXPORT QRegion gfGetChangedRegion(int passes, const uchar* current, const uchar* previous,
                                            int width, int height, int bytesPerPixel);

// Debugging dump of a region's rectangles to standard output, one line each:
// number from 1, left, top, width, height.
UBXCOMMON_EXPORT void gpPrintRegion(const QRegion& aRegion);

#endif
