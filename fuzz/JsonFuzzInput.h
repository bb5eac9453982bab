#ifndef JSONFUZZINPUT_H
#define JSONFUZZINPUT_H

#include <QVariant>

#include <cstddef>
#include <cstdint>

// What serialising aValue and parsing the text back gives, for the values
// that can come back at all (infinities and NaN cannot: they are written as
// "inf.0" and "nan.0"). The text loses what it cannot say:
// - a non-negative signed integer comes back unsigned (only "-" makes a number
//   signed);
// - a double written without "." (one significant digit with an exponent,
//   such as "5e+20") goes through the integer conversion and comes back as 0;
// - a lone surrogate is written as "?";
// - a QByteArray comes back as the QString it holds in UTF-8, a QStringList as
//   a QVariantList and a QVariantHash as a QVariantMap.
// Types beyond these and the other integers are not covered.
QVariant gfRoundTripped(const QVariant& aValue);

// Same types and values all the way down; unlike QVariant's own comparison,
// 5 as qlonglong is not 5 as qulonglong.
bool gfSameJsonTree(const QVariant& aLeft, const QVariant& aRight);

// Runs one input through the JSON codec, as the fuzz target and the corpus
// replay test both do: the bytes, read as UTF-8 and as Latin-1 text, are
// parsed; a tree that parsed must serialise, parse back from its UTF-8 and
// equal gfRoundTripped() of itself. Returns false when any of that fails.
bool gfCheckJsonInput(const uint8_t* apData, size_t aSize);

#endif
