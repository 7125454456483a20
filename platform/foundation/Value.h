#pragma once
// Typed values held by the platform's dictionaries and arrays: boolean numbers, signed and unsigned
// integer numbers, doubles (NaN and infinities kept), strings, dates, arrays, dictionaries, the null
// marker and platform records. Absent is never a value: lookups answer std::nullopt for it.

#include <QString>
#include <QStringList>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

class Value;
class Dictionary;
class Record;

using Array = std::vector<Value>;
using ArrayRef = std::shared_ptr<Array>;
using DictionaryRef = std::shared_ptr<Dictionary>;
using RecordRef = std::shared_ptr<const Record>;

// A point in time, kept as seconds since 1970-01-01 00:00:00 UTC.
class Date {
  public:
    // Seconds from 1970-01-01 to the platform's reference date 2001-01-01 00:00:00 UTC.
    static constexpr double kReferenceDateSince1970 = 978307200.0;

    Date() = default;
    static Date fromSecondsSince1970(double seconds) { return Date(seconds); }
    static Date fromSecondsSinceReferenceDate(double seconds) {
        return Date(seconds + kReferenceDateSince1970);
    }
    static Date now();

    double secondsSince1970() const { return seconds_; }
    double secondsSinceReferenceDate() const { return seconds_ - kReferenceDateSince1970; }
    bool operator==(const Date&) const = default;

  private:
    explicit Date(double seconds) : seconds_(seconds) {}
    double seconds_ = 0.0;
};

// The platform's singleton null object: stands in a dictionary or array for a missing value.
struct NullMarker {
    bool operator==(const NullMarker&) const = default;
};

class Value {
  public:
    enum class Kind { Null, Bool, Int, UInt, Double, String, Date, Array, Dictionary, Record };

    static Value null() { return Value(NullMarker{}); }
    static Value boolean(bool b) { return Value(Storage(std::in_place_index<1>, b)); }
    static Value integer(std::int64_t i) { return Value(Storage(std::in_place_index<2>, i)); }
    static Value unsignedInteger(std::uint64_t u) { return Value(Storage(std::in_place_index<3>, u)); }
    static Value number(double d) { return Value(Storage(std::in_place_index<4>, d)); }
    static Value string(QString s) { return Value(Storage(std::in_place_index<5>, std::move(s))); }
    static Value date(platform::Date d) { return Value(Storage(std::in_place_index<6>, d)); }
    static Value array(ArrayRef a);
    static Value dictionary(DictionaryRef d);
    static Value record(RecordRef r);

    Kind kind() const { return static_cast<Kind>(storage_.index()); }
    bool isNull() const { return kind() == Kind::Null; }
    bool isBool() const { return kind() == Kind::Bool; }
    // Integer, unsigned integer or double; a boolean is not a number here.
    bool isNumber() const { return kind() == Kind::Int || kind() == Kind::UInt || kind() == Kind::Double; }
    bool isString() const { return kind() == Kind::String; }

    // Typed reads; each answers the empty value of its type for a value of another kind.
    bool toBool() const;
    std::int64_t toInt() const;  // numbers converted; doubles truncated and held to the 64-bit range
    std::uint64_t toUInt() const;
    double toDouble() const;  // any number kind
    QString toString() const;
    platform::Date toDate() const;
    ArrayRef toArray() const;
    DictionaryRef toDictionary() const;
    RecordRef toRecord() const;

    // The record as the given record type, or nullptr when the value is no record of that type.
    template <class T>
    std::shared_ptr<const T> recordAs() const {
        return std::dynamic_pointer_cast<const T>(toRecord());
    }

    // Structural equality: same kind and same content (NaN equals NaN; arrays, dictionaries and
    // records compared by content).
    bool operator==(const Value& other) const;

    // A short readable form for log messages and test failures (the JSON form).
    QString description() const;

    static const char* kindName(Kind kind);

  private:
    using Storage = std::variant<NullMarker, bool, std::int64_t, std::uint64_t, double, QString,
                                 platform::Date, ArrayRef, DictionaryRef, RecordRef>;
    explicit Value(NullMarker) : storage_(NullMarker{}) {}
    explicit Value(Storage s) : storage_(std::move(s)) {}
    Storage storage_;
};

// A dictionary with string keys, kept ordered by key. Shared by reference (DictionaryRef): a
// dictionary handed to someone else stays the same live object. Each operation is atomic, so a
// reader on one thread never sees a half-made change of a writer on another.
class Dictionary {
  public:
    using Entries = std::vector<std::pair<QString, Value>>;

    Dictionary() = default;
    Dictionary(std::initializer_list<std::pair<const QString, Value>> entries) : entries_(entries) {}
    Dictionary(const Dictionary& other);
    Dictionary& operator=(const Dictionary& other);
    static DictionaryRef make() { return std::make_shared<Dictionary>(); }
    static DictionaryRef make(std::initializer_list<std::pair<const QString, Value>> entries) {
        return std::make_shared<Dictionary>(entries);
    }

    std::optional<Value> value(const QString& key) const;
    bool contains(const QString& key) const;
    void set(const QString& key, Value value);
    void remove(const QString& key);
    std::size_t size() const;
    bool empty() const { return size() == 0; }
    QStringList keys() const;
    // A snapshot of all entries, ordered by key.
    Entries entries() const;

    bool operator==(const Dictionary& other) const;

  private:
    mutable std::mutex mutex_;
    std::map<QString, Value> entries_;
};

inline ArrayRef makeArray(std::initializer_list<Value> values = {}) {
    return std::make_shared<Array>(values);
}

// A platform record (scan result, ping result, channel, network profile): a typed object found
// inside service answers. Its fields are given as a dictionary for output and comparison; an
// absent field is left out.
class Record {
  public:
    virtual ~Record() = default;
    virtual QString typeName() const = 0;
    virtual DictionaryRef fields() const = 0;
};

}  // namespace platform
