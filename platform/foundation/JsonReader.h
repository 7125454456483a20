#pragma once
// A strict JSON reader producing platform values. Unlike a reader that folds every number into a
// double, it keeps the kinds apart: digits alone give an integer (an unsigned integer when the
// number only fits 64 unsigned bits, a double when it fits neither), a fraction or an exponent
// gives a double. Objects give dictionaries, arrays give arrays, null gives the null marker. The
// bare tokens NaN, Infinity and -Infinity are read as doubles, so the JSON this platform writes
// reads back, and so does a \u escape of half a surrogate pair, kept as that one UTF-16 unit.
//
// Everything else is held to the JSON grammar: no comments, no trailing commas, no leading zeros,
// no single quotes, no unescaped control characters, valid UTF-8 only, nothing after the value.
// Duplicate keys in one object are rejected, and nesting is limited so that hostile input cannot
// exhaust the stack.

#include "platform/foundation/Value.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>

namespace platform {

// Why a text is not acceptable JSON, and where: line and column count from 1; the column counts
// characters, not bytes. what() reads "line 3, column 14: expected ',' or '}'".
class JsonParseError : public std::runtime_error {
  public:
    JsonParseError(int line, int column, QString reason);
    int line() const { return line_; }
    int column() const { return column_; }
    const QString& reason() const { return reason_; }
    // "line 3, column 14"
    QString position() const;
    // "line 3, column 14: expected ',' or '}'"
    QString message() const;

  private:
    int line_, column_;
    QString reason_;
};

struct JsonReadOptions {
    // Containers (arrays and objects) may nest this deep; one more level is an error.
    int maxDepth = 256;
};

// Reads text as one JSON value. Throws JsonParseError.
Value parseJson(const QByteArray& text, const JsonReadOptions& options = {});

// As parseJson, but answers std::nullopt and sets *error (when given) instead of throwing.
std::optional<Value> tryParseJson(const QByteArray& text, QString* error = nullptr,
                                  const JsonReadOptions& options = {});

// Path notation shared by readers of structured files, for messages that point into a document:
// keys that are plain identifiers are joined with '.', other keys are quoted, array elements are
// written [index]: tests."16"[1].info.PingResult. The empty path is the document itself.
QString jsonPathWithKey(const QString& path, const QString& key);
QString jsonPathWithIndex(const QString& path, qsizetype index);

}  // namespace platform
