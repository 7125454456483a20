#include "platform/foundation/Value.h"

#include "platform/foundation/Json.h"

#include <QDateTime>

#include <cmath>
#include <limits>

namespace platform {

Date Date::now() {
    return Date(static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0);
}

Value Value::array(ArrayRef a) {
    return a ? Value(Storage(std::in_place_index<7>, std::move(a))) : null();
}

Value Value::dictionary(DictionaryRef d) {
    return d ? Value(Storage(std::in_place_index<8>, std::move(d))) : null();
}

Value Value::record(RecordRef r) {
    return r ? Value(Storage(std::in_place_index<9>, std::move(r))) : null();
}

namespace {

constexpr double kTwoToThe63 = 9223372036854775808.0;

// A double truncated towards zero, held to the 64-bit range: values beyond it give the nearest
// end of the range, and NaN gives 0 (converting those directly is undefined).
std::int64_t doubleToInt(double d) {
    if (std::isnan(d)) {
        return 0;
    }
    if (d >= kTwoToThe63) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (d < -kTwoToThe63) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return static_cast<std::int64_t>(d);
}

}  // namespace

bool Value::toBool() const {
    switch (kind()) {
        case Kind::Bool:
            return std::get<bool>(storage_);
        case Kind::Int:
            return std::get<std::int64_t>(storage_) != 0;
        case Kind::UInt:
            return std::get<std::uint64_t>(storage_) != 0;
        case Kind::Double:
            return std::get<double>(storage_) != 0.0;
        default:
            return false;
    }
}

std::int64_t Value::toInt() const {
    switch (kind()) {
        case Kind::Bool:
            return std::get<bool>(storage_) ? 1 : 0;
        case Kind::Int:
            return std::get<std::int64_t>(storage_);
        case Kind::UInt:
            return static_cast<std::int64_t>(std::get<std::uint64_t>(storage_));
        case Kind::Double:
            return doubleToInt(std::get<double>(storage_));
        default:
            return 0;
    }
}

std::uint64_t Value::toUInt() const {
    switch (kind()) {
        case Kind::UInt:
            return std::get<std::uint64_t>(storage_);
        case Kind::Double: {
            // Doubles beyond the signed range still fit the unsigned one up to 2^64.
            const double d = std::get<double>(storage_);
            if (d >= kTwoToThe63) {
                return d < 2.0 * kTwoToThe63 ? static_cast<std::uint64_t>(d)
                                             : std::numeric_limits<std::uint64_t>::max();
            }
            return static_cast<std::uint64_t>(doubleToInt(d));
        }
        default:
            return static_cast<std::uint64_t>(toInt());
    }
}

double Value::toDouble() const {
    switch (kind()) {
        case Kind::Bool:
            return std::get<bool>(storage_) ? 1.0 : 0.0;
        case Kind::Int:
            return static_cast<double>(std::get<std::int64_t>(storage_));
        case Kind::UInt:
            return static_cast<double>(std::get<std::uint64_t>(storage_));
        case Kind::Double:
            return std::get<double>(storage_);
        default:
            return 0.0;
    }
}

QString Value::toString() const {
    return kind() == Kind::String ? std::get<QString>(storage_) : QString();
}

Date Value::toDate() const {
    return kind() == Kind::Date ? std::get<Date>(storage_) : Date();
}

ArrayRef Value::toArray() const {
    return kind() == Kind::Array ? std::get<ArrayRef>(storage_) : nullptr;
}

DictionaryRef Value::toDictionary() const {
    return kind() == Kind::Dictionary ? std::get<DictionaryRef>(storage_) : nullptr;
}

RecordRef Value::toRecord() const {
    return kind() == Kind::Record ? std::get<RecordRef>(storage_) : nullptr;
}

bool Value::operator==(const Value& other) const {
    if (kind() != other.kind()) {
        return false;
    }
    switch (kind()) {
        case Kind::Double: {
            const double a = std::get<double>(storage_), b = std::get<double>(other.storage_);
            return (std::isnan(a) && std::isnan(b)) || a == b;
        }
        case Kind::Array:
            return *toArray() == *other.toArray();
        case Kind::Dictionary:
            return *toDictionary() == *other.toDictionary();
        case Kind::Record: {
            const RecordRef a = toRecord(), b = other.toRecord();
            return a->typeName() == b->typeName() && *a->fields() == *b->fields();
        }
        default:
            return storage_ == other.storage_;
    }
}

QString Value::description() const {
    return QString::fromUtf8(toJson(*this));
}

const char* Value::kindName(Kind kind) {
    switch (kind) {
        case Kind::Null:
            return "null";
        case Kind::Bool:
            return "boolean";
        case Kind::Int:
            return "integer";
        case Kind::UInt:
            return "unsigned integer";
        case Kind::Double:
            return "double";
        case Kind::String:
            return "string";
        case Kind::Date:
            return "date";
        case Kind::Array:
            return "array";
        case Kind::Dictionary:
            return "dictionary";
        case Kind::Record:
            return "record";
    }
    return "unknown";
}

Dictionary::Dictionary(const Dictionary& other) {
    std::lock_guard lock(other.mutex_);
    entries_ = other.entries_;
}

Dictionary& Dictionary::operator=(const Dictionary& other) {
    if (this != &other) {
        std::map<QString, Value> copy;
        {
            std::lock_guard lock(other.mutex_);
            copy = other.entries_;
        }
        std::lock_guard lock(mutex_);
        entries_ = std::move(copy);
    }
    return *this;
}

std::optional<Value> Dictionary::value(const QString& key) const {
    std::lock_guard lock(mutex_);
    const auto it = entries_.find(key);
    if (it == entries_.end()) {
        return std::nullopt;
    }
    return it->second;
}

bool Dictionary::contains(const QString& key) const {
    std::lock_guard lock(mutex_);
    return entries_.count(key) != 0;
}

void Dictionary::set(const QString& key, Value value) {
    std::lock_guard lock(mutex_);
    entries_.insert_or_assign(key, std::move(value));
}

void Dictionary::remove(const QString& key) {
    std::lock_guard lock(mutex_);
    entries_.erase(key);
}

std::size_t Dictionary::size() const {
    std::lock_guard lock(mutex_);
    return entries_.size();
}

QStringList Dictionary::keys() const {
    std::lock_guard lock(mutex_);
    QStringList keys;
    keys.reserve(static_cast<qsizetype>(entries_.size()));
    for (const auto& entry : entries_) {
        keys.append(entry.first);
    }
    return keys;
}

Dictionary::Entries Dictionary::entries() const {
    std::lock_guard lock(mutex_);
    return Entries(entries_.begin(), entries_.end());
}

bool Dictionary::operator==(const Dictionary& other) const {
    if (this == &other) {
        return true;
    }
    return entries() == other.entries();
}

}  // namespace platform
