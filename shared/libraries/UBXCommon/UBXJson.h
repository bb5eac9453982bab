#ifndef UBXJSON_H
#define UBXJSON_H

#include "UBXCommonExport.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

// JSON text to and from QVariant trees. Stateless free functions; failure is
// reported only through the success flag.
//
// The parser is lenient by design, and callers rely on it:
// - commas are never required: missing, leading, doubled and trailing commas
//   between members all parse;
// - a number containing "." becomes a double, one starting with "-" a qlonglong,
//   any other a qulonglong; a run that does not convert (such as "1e3", which
//   has no ".") gives 0 of that type and still succeeds;
// - "true" and "null" need four characters left, "false" five;
// - text after the first complete value is ignored;
// - in an object, the character before each key is skipped unchecked, so
//   anything that starts a token may stand in for the key's opening quote;
// - an unknown escape drops the backslash and the character; "\u" takes the
//   next four characters as a hexadecimal UTF-16 code unit (0 when they are
//   not a number) and fails when fewer than four are left.
// Objects become QVariantMap (a repeated key keeps its last value), arrays
// QVariantList, strings QString, null an invalid QVariant. Nesting deeper than
// 1,024 arrays or objects fails instead of exhausting the stack.
//
// A null aJson gives an invalid QVariant with success. On failure the result
// is an invalid QVariant, or an empty map or list when an object or array
// failed.
UBXCOMMON_EXPORT QVariant gfParseJson(const QString& aJson, bool& aSuccess);
UBXCOMMON_EXPORT QVariant gfParseJson(const QString& aJson);

// UTF-8 text in a blank-padded layout: "[ 1, 2 ]", "{ \"a\" : 1 }", "[  ]"
// for an empty list. Lists are QVariantList or QStringList, objects
// QVariantMap or QVariantHash (in the hash's order), strings QString or
// QByteArray (taken as UTF-8). Strings escape backslash, quote, backspace, form
// feed, line feed, carriage return and tab; everything else passes as UTF-8,
// other control characters included, and a lone surrogate becomes "?".
// Doubles are written with 20 significant digits ("g" format) and get ".0"
// unless the text has a "." or an "e"; infinities and NaN come out as
// "inf.0", "-inf.0" and "nan.0", which no parser reads back. bool, qulonglong,
// then anything convertible to qlonglong or long is written as a number, and
// anything else convertible to QString as a string. Any other type, or
// nesting deeper than 1,024 lists or maps, fails with an empty result.
UBXCOMMON_EXPORT QByteArray gfSerializeJson(const QVariant& aData, bool& aSuccess);
UBXCOMMON_EXPORT QByteArray gfSerializeJson(const QVariant& aData);

#endif
