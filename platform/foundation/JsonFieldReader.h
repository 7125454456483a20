#pragma once
// Reads a parsed JSON document (as parseJson gives it) field by field, by the kind each value is
// expected to have, and keeps every value's path in the document (tests."16"[1].info) so that each
// complaint says where it is. It knows nothing of what the document describes: callers name what
// they read ("an event", "the device") and turn a JsonFieldError into an error of their own.

#include "platform/foundation/Value.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace platform {

// A value that is not what its reader expects: where it stands in the document (a JSON path; empty
// for the document itself) and why. what() reads "place: why", or "why" alone at the document.
class JsonFieldError : public std::runtime_error {
  public:
    JsonFieldError(QString place, QString why);
    const QString& place() const { return place_; }
    const QString& why() const { return why_; }

  private:
    QString place_, why_;
};

// A file of outside input that cannot be used: the file, the place in it (a JSON path, or
// line:column for a syntax error; empty for the file itself) and why. what() reads
// "file: place: why", or "file: why". Each kind of file has its own error type made from this.
class InputFileError : public std::runtime_error {
  public:
    InputFileError(QString file, QString place, QString why);
    const QString& file() const { return file_; }
    const QString& place() const { return place_; }
    const QString& why() const { return why_; }

  private:
    QString file_, place_, why_;
};

// Runs read, turning a complaint about a value into an Error (made from InputFileError) that names
// file.
template <class Error, class Read>
auto readingFile(const QString& file, const Read& read) -> decltype(read()) {
    try {
        return read();
    } catch (const JsonFieldError& e) {
        throw Error(file, e.place(), e.why());
    }
}

// How messages name a value's kind: "null", "a boolean", "an integer", "a fraction", "a string",
// "an array", "an object", ...
QString jsonKindPhrase(const Value& value);

class JsonObjectFields;

// One value of a document together with its path. Each read checks the value's kind and throws
// JsonFieldError at the value's path when it is not the one expected.
class JsonField {
  public:
    explicit JsonField(Value value, QString path = QString());

    const Value& value() const { return value_; }
    const QString& path() const { return path_; }
    Value::Kind kind() const { return value_.kind(); }
    bool isNull() const { return value_.isNull(); }

    // Throws JsonFieldError(path(), why).
    [[noreturn]] void fail(const QString& why) const;
    // Throws "expected <expected>, got <this value's kind>".
    [[noreturn]] void failExpected(const QString& expected) const;

    bool readBool() const;
    // A signed 64-bit integer; a fraction is not one, nor is an integer beyond the signed range.
    std::int64_t readInt() const;
    // As readInt, and from low to high inclusive.
    std::int64_t readIntInRange(std::int64_t low, std::int64_t high) const;
    QString readString() const;
    QString readNonEmptyString() const;
    // Any number (integer, unsigned integer or fraction), as a double.
    double readNumber() const;
    JsonObjectFields readObject() const;
    // The elements of an array, each with its path (name[3]). expected says what the array holds,
    // for the message when the value is no array: "an array of events".
    std::vector<JsonField> readArray(const QString& expected = QStringLiteral("an array")) const;

  private:
    Value value_;
    QString path_;
};

// The fields of one object of a document, read by key; each field carries its own path.
class JsonObjectFields {
  public:
    JsonObjectFields(DictionaryRef object, QString path);

    // The object itself, as read.
    const DictionaryRef& dictionary() const { return object_; }
    const QString& path() const { return path_; }
    // The object's keys in order.
    QStringList keys() const { return object_->keys(); }
    std::size_t size() const { return object_->size(); }
    bool contains(const QString& key) const { return object_->contains(key); }

    // The path of the field key (present or not).
    QString pathOf(const QString& key) const;
    // Throws JsonFieldError at the object's path.
    [[noreturn]] void fail(const QString& why) const;
    // Throws JsonFieldError at the path of the field key.
    [[noreturn]] void failAt(const QString& key, const QString& why) const;

    // The field key, or std::nullopt when the object has no such key.
    std::optional<JsonField> find(const QString& key) const;
    // The field key; without it, fails at the object: "<what> needs the key "<key>"".
    JsonField require(const QString& key, const QString& what) const;
    // Every field in key order, with its key.
    std::vector<std::pair<QString, JsonField>> entries() const;

    // Fails at the first key (in key order) that known does not list, so that a misspelt key is
    // reported instead of ignored: unknown key "x" in <what> (known keys: a, b, c).
    void rejectUnknownKeys(const QStringList& known, const QString& what) const;

  private:
    DictionaryRef object_;
    QString path_;
};

}  // namespace platform
