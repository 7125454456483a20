#pragma once
// Typed reads of the system's D-Bus services (NetworkManager, BlueZ): method calls with a timeout,
// properties read by their D-Bus type, and one error type whose text says where a read went wrong
// (service, object path, interface, property) and what was expected against what was found.

#include "platform/foundation/Error.h"

#include <QByteArray>
#include <QDBusConnection>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantList>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace platform::linuxwifi {

// A read from the bus that gave no usable answer. kind() tells the cause; text() is the whole
// story for a log or a service error, naming the place and, for a wrong type, expected and found.
class DBusReadError : public std::runtime_error {
  public:
    enum class Kind {
        NoService,     // nobody owns the service's name on the bus
        NoSuchObject,  // the service has no object at the path (it went away)
        Timeout,       // no answer within the call's timeout
        Refused,       // the service or the bus refused the call (authorization)
        Disconnected,  // the connection to the bus is closed
        CallFailed,    // any other error answer
        Missing,       // a property or a dictionary key that must be there is absent
        WrongType,     // a value of another D-Bus type than the one expected
        BadValue,      // a value of the right type that cannot be understood
        InvalidPath,   // the caller asked at a string that is no object path (nothing was sent)
    };

    DBusReadError(Kind kind, QString text, QString dbusErrorName = QString());

    Kind kind() const { return kind_; }
    const QString& text() const { return text_; }
    // The D-Bus error name of the answer ("org.freedesktop.DBus.Error.ServiceUnknown"), when the
    // error came as an answer.
    const QString& dbusErrorName() const { return dbusErrorName_; }
    static const char* kindName(Kind kind);

    // The error as the Wi-Fi diagnostics service hands it out, with the code the caller chooses.
    ErrorRef toServiceError(std::int64_t code) const;

  private:
    Kind kind_;
    QString text_;
    QString dbusErrorName_;
};

// A D-Bus value as it came off the bus: its signature and its content, converted once from
// QtDBus's streaming form (QDBusArgument, which can be read only once) into a tree that can be read
// by type as often as needed.
class DBusValue {
  public:
    DBusValue() = default;
    // Converts what QtDBus hands out: a QDBusArgument, a QDBusVariant or a plain Qt value of a
    // D-Bus basic type (bool, uchar, int, uint, qlonglong, QString, QDBusObjectPath, ...), a
    // QByteArray (ay) or a QStringList (as). A value of no D-Bus type gets the signature "?".
    static DBusValue fromQt(const QVariant& value);

    // The value's complete D-Bus signature: "b", "ay", "a{sv}", "aa{sv}", "v", ...
    const QString& signature() const { return signature_; }
    // Basic types, ay (QByteArray) and as (QStringList): the value as Qt holds it.
    const QVariant& scalar() const { return scalar_; }
    // Arrays (other than ay and as), structures, and a variant (one element: its content).
    const std::vector<DBusValue>& elements() const { return elements_; }
    // Dictionaries: key and value pairs in the order they came.
    const std::vector<std::pair<DBusValue, DBusValue>>& entries() const { return entries_; }

    // A short readable form for error texts: true, 42, "text", [1, 2], {"k": 1}.
    QString shortText() const;

  private:
    friend class DBusValueBuilder;
    QString signature_;
    QVariant scalar_;
    std::vector<DBusValue> elements_;
    std::vector<std::pair<DBusValue, DBusValue>> entries_;
};

// How error texts quote a text: in double quotes, with quotes, backslashes and control characters
// escaped.
QString quotedText(const QString& text);

// How error texts name a signature: "a boolean (b)", "an array of dictionaries (aa{sv})".
QString describeSignature(const QString& signature);

// Whether path is a D-Bus object path: "/" or "/" followed by elements of [A-Za-z0-9_] joined by
// single slashes.
bool isObjectPath(const QString& path);

// Where a value was read: the service, the object, the interface and the member (property or
// method), and the way into the value ([2]["address"]). text() reads
// "org.freedesktop.NetworkManager.AccessPoint.Strength at /org/freedesktop/NetworkManager/AccessPoint/3
//  on org.freedesktop.NetworkManager".
struct DBusPlace {
    QString service;
    QString path;
    QString interface;
    QString member;
    QString inner;

    QString text() const;
    DBusPlace withInner(const QString& step) const;
};

class DBusDict;

// One value together with where it was read. Each read checks the D-Bus type and throws
// DBusReadError (WrongType) naming the place, the type expected and the value found.
class DBusField {
  public:
    DBusField(DBusValue value, DBusPlace place);

    const DBusValue& value() const { return value_; }
    const DBusPlace& place() const { return place_; }

    bool readBool() const;                              // b
    std::uint8_t readByte() const;                      // y
    std::int32_t readInt32() const;                     // i
    std::uint32_t readUInt32() const;                   // u
    std::int64_t readInt64() const;                     // x
    std::uint64_t readUInt64() const;                   // t
    QString readString() const;                         // s
    QString readObjectPath() const;                     // o
    QByteArray readBytes() const;                       // ay
    QStringList readStringList() const;                 // as
    QStringList readObjectPathList() const;             // ao
    std::vector<std::uint32_t> readUInt32List() const;  // au
    std::vector<QByteArray> readByteArrayList() const;  // aay
    DBusDict readDict() const;                          // a{sv}
    // a{sv} as the properties of place().interface at place().path (GetAll's answer, an entry of
    // ObjectManager's answer): each key names a property rather than a step into the value.
    DBusDict readProperties() const;
    std::vector<DBusDict> readDictList() const;  // aa{sv}

    // Throws DBusReadError(BadValue) at this place: "<place>: <why>".
    [[noreturn]] void failBadValue(const QString& why) const;

  private:
    void expect(const char* signature) const;
    DBusValue value_;
    DBusPlace place_;
};

// A string-keyed dictionary of variants (a{sv}): the properties GetAll answers, a setting of a
// saved connection, an address entry. Keys are looked up by name; a key that must be there and is
// not throws DBusReadError (Missing) naming the place and the keys that are there.
class DBusDict {
  public:
    // Whether keys name the properties of an interface or entries of a dictionary value.
    enum class Keys { Properties, Entries };
    DBusDict(std::map<QString, DBusValue> values, DBusPlace place, Keys keys = Keys::Entries);

    const DBusPlace& place() const { return place_; }
    bool has(const QString& key) const { return values_.count(key) != 0; }
    QStringList keys() const;
    bool isEmpty() const { return values_.empty(); }

    // The value under key; throws Missing when it is absent.
    DBusField at(const QString& key) const;
    // The value under key, or nothing when it is absent (for values the service may leave out).
    std::optional<DBusField> find(const QString& key) const;

  private:
    DBusPlace fieldPlace(const QString& key) const;
    std::map<QString, DBusValue> values_;
    DBusPlace place_;
    Keys keys_;
};

// While one lives on a thread, every D-Bus call made on that thread first asks whether the work it
// serves was cancelled, and throws a DBusReadError (CallFailed, "cancelled") instead of calling:
// a long series of calls (one per saved connection, one per access point) then ends at its next
// call rather than after all of them. They nest: a call is not made when any of its thread's
// cancellations says so.
class CallCancellation {
  public:
    explicit CallCancellation(std::function<bool()> cancelled);
    ~CallCancellation();
    CallCancellation(const CallCancellation&) = delete;
    CallCancellation& operator=(const CallCancellation&) = delete;

    // Whether the work of the calls on this thread was cancelled (false without a CallCancellation).
    static bool cancelledOnThisThread();

  private:
    std::function<bool()> cancelled_;
    const CallCancellation* outer_;
};

// Calls methods of one service over one connection, each with a timeout, and checks the
// signature of every answer. Copies are cheap; every member is safe to use from any thread at the
// same time (QtDBus blocking calls are).
class DBusCaller {
  public:
    // timeout: at least 1 ms (a smaller one is taken as 1 ms).
    DBusCaller(QDBusConnection connection, QString service, std::chrono::milliseconds timeout);

    const QDBusConnection& connection() const { return connection_; }
    const QString& service() const { return service_; }
    std::chrono::milliseconds timeout() const { return timeout_; }
    // The same caller with another timeout.
    DBusCaller withTimeout(std::chrono::milliseconds timeout) const;

    // Calls interface.method(args) on path and answers the reply's values, whose signature must be
    // replySignature ("" for none). Throws DBusReadError.
    std::vector<DBusValue> call(const QString& path, const QString& interface, const QString& method,
                                const QVariantList& args, const QString& replySignature) const;
    // A call answering exactly one value, with its place (interface.method() at path).
    DBusField callForOne(const QString& path, const QString& interface, const QString& method,
                         const QVariantList& args, const QString& replySignature) const;
    // The same for a call that may take long: while it waits, a cancel of the calling thread's work
    // (CallCancellation) ends it at once.
    DBusField callForOneUnlessCancelled(const QString& path, const QString& interface, const QString& method,
                                        const QVariantList& args, const QString& replySignature) const;

    // org.freedesktop.DBus.Properties: every property of one interface, one property, or setting
    // one (value is wrapped in a variant as it is).
    DBusDict getAll(const QString& path, const QString& interface) const;
    DBusField get(const QString& path, const QString& interface, const QString& property) const;
    void set(const QString& path, const QString& interface, const QString& property,
             const QVariant& value) const;

    // Whether someone owns the service's name on the bus (asks the bus itself).
    bool serviceIsPresent() const;

  private:
    DBusField oneValue(std::vector<DBusValue> values, const QString& path, const QString& interface,
                       const QString& method) const;

    QDBusConnection connection_;
    QString service_;
    std::chrono::milliseconds timeout_;
};

}  // namespace platform::linuxwifi
