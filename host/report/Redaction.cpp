#include "host/report/Redaction.h"

#include "platform/wifi/WiFiRecords.h"

#include <QHostAddress>
#include <QRegularExpression>

#include <algorithm>
#include <map>
#include <set>

namespace report {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

namespace {

const QString kPublicAddress = QStringLiteral("(public address)");

bool isPublic(const QHostAddress& address) {
    if (address.isNull() || address.isLoopback() || address.isLinkLocal() || address.isUniqueLocalUnicast() ||
        address.isSiteLocal() || address.isMulticast() || address.isBroadcast() ||
        address.isEqual(QHostAddress::AnyIPv4) || address.isEqual(QHostAddress::AnyIPv6)) {
        return false;
    }
    // The private ranges (RFC 1918) and carrier-grade NAT (100.64.0.0/10) are no public addresses.
    for (const auto& [network, length] : {std::pair{"10.0.0.0", 8}, std::pair{"172.16.0.0", 12},
                                          std::pair{"192.168.0.0", 16}, std::pair{"100.64.0.0", 10}}) {
        if (address.isInSubnet(QHostAddress(QString::fromLatin1(network)), length)) {
            return false;
        }
    }
    return true;
}

class Redactor {
  public:
    explicit Redactor(const Profile& profile) {
        // The networks the profile is about keep their names: the joined and the selected one, by
        // their results, their saved profiles, the requests that named them and the parameters.
        for (const char* group : {"currentNetwork", "selectedNetwork"}) {
            if (const DictionaryRef g = profile.group(QString::fromLatin1(group))) {
                keep(g->value(QStringLiteral("networkName")));
                if (const auto preferred = g->value(QStringLiteral("preferredNetwork"));
                    preferred && preferred->kind() == Value::Kind::Dictionary) {
                    keep(preferred->toDictionary()->value(QStringLiteral("SSID")));
                }
            }
        }
        for (const ServiceAnswer& answer : profile.answers) {
            if (answer.configuration) {
                keep(answer.configuration->value(QStringLiteral("NetworkName")));
            }
        }
        if (profile.metadata.parameters) {
            keep(profile.metadata.parameters->value(QStringLiteral("networkName")));
        }
        // Every network name the scan knows: a log line or an error text may name one too.
        for (const auto& entry : profile.scan()) {
            if (entry->ssidString && !entry->ssidString->isEmpty()) {
                networkName(*entry->ssidString);
            }
        }
    }

    QString bssid(const QString& value) {
        const QString key = value.toLower();
        auto [at, added] = bssids_.emplace(key, QString());
        if (added) {
            at->second = QStringLiteral("BSSID-%1").arg(bssids_.size());
        }
        return at->second;
    }

    QString networkName(const QString& name) {
        if (kept_.contains(name) || name.isEmpty()) {
            return name;
        }
        auto [at, added] = names_.emplace(name, QString());
        if (added) {
            at->second = QStringLiteral("Network-%1").arg(names_.size());
        }
        return at->second;
    }

    // Free text (a log line, an error, a value): BSSIDs, the other networks' names and public
    // addresses replaced wherever they appear.
    QString text(QString s) {
        static const QRegularExpression kBssid(QStringLiteral("\\b[0-9A-Fa-f]{2}(?::[0-9A-Fa-f]{2}){5}\\b"));
        static const QRegularExpression kIPv4(QStringLiteral("\\b\\d{1,3}(?:\\.\\d{1,3}){3}\\b"));
        static const QRegularExpression kIPv6(
            QStringLiteral("\\b[0-9A-Fa-f]{0,4}(?::[0-9A-Fa-f]{0,4}){2,7}\\b"));
        s = replaceEach(s, kBssid, [this](const QString& m) { return bssid(m); });
        const auto address = [](const QString& m) {
            const QHostAddress a(m);
            return !a.isNull() && isPublic(a) ? kPublicAddress : m;
        };
        s = replaceEach(s, kIPv4, address);
        s = replaceEach(s, kIPv6, address);
        return names(s);
    }

    // parent: the key of the dictionary holding v ("SSID" names a network only in a saved
    // network's profile; in a ping result it is the interface).
    Value value(const Value& v, const QString& key = QString(), const QString& parent = QString()) {
        switch (v.kind()) {
            case Value::Kind::String: {
                const QString s = v.toString();
                const bool ssid = key == QLatin1String("SSID") && parent == QLatin1String("preferredNetwork");
                if (key == QLatin1String("networkName") || key == QLatin1String("NetworkName") || ssid ||
                    key == QLatin1String("ssidString")) {
                    return Value::string(networkName(s));
                }
                if (key == QLatin1String("bssid")) {
                    return Value::string(bssid(s));
                }
                return Value::string(text(s));
            }
            case Value::Kind::Array: {
                auto out = std::make_shared<platform::Array>();
                for (const Value& item : *v.toArray()) {
                    out->push_back(value(item));
                }
                return Value::array(out);
            }
            case Value::Kind::Dictionary:
                return Value::dictionary(dictionary(v.toDictionary(), key));
            case Value::Kind::Record:
                return record(v);
            default:
                return v;
        }
    }

    DictionaryRef dictionary(const DictionaryRef& d, const QString& key = QString()) {
        if (!d) {
            return d;
        }
        auto out = Dictionary::make();
        for (const auto& [inner, v] : d->entries()) {
            out->set(inner, value(v, inner, key));
        }
        return out;
    }

  private:
    void keep(const std::optional<Value>& name) {
        if (name && name->isString() && !name->toString().isEmpty()) {
            kept_.insert(name->toString());
        }
    }

    // Every network name in free text, as a whole (not inside a longer word), in one pass that
    // tries longer names first: a kept name ("Home-5G") is matched whole, and stays, before a
    // neighbour's inside it ("Home") could be; a neighbour's holding a kept one ("Home-Guest") is
    // matched whole and replaced.
    QString names(const QString& s) {
        if (names_.empty()) {
            return s;
        }
        std::vector<QString> all(kept_.begin(), kept_.end());
        for (const auto& [name, pseudonym] : names_) {
            all.push_back(name);
        }
        std::sort(all.begin(), all.end(),
                  [](const QString& a, const QString& b) { return a.size() > b.size(); });
        QStringList alternatives;
        for (const QString& name : all) {
            alternatives.push_back(QRegularExpression::escape(name));
        }
        const QRegularExpression pattern(
            QStringLiteral("(?<![\\p{L}\\p{N}])(?:%1)(?![\\p{L}\\p{N}])").arg(alternatives.join(u'|')));
        return replaceEach(s, pattern, [this](const QString& m) {
            const auto found = names_.find(m);
            return found != names_.end() && !kept_.contains(m) ? found->second : m;
        });
    }

    Value record(const Value& v) {
        if (const auto scan = v.recordAs<platform::WiFiScanResult>()) {
            auto copy = std::make_shared<platform::WiFiScanResult>(*scan);
            copy->bssid = bssid(scan->bssid);
            if (copy->ssidString) {
                copy->ssidString = networkName(*copy->ssidString);
            }
            return Value::record(copy);
        }
        if (const auto network = v.recordAs<platform::NetworkProfile>()) {
            auto copy = std::make_shared<platform::NetworkProfile>(*network);
            if (copy->ssidString) {
                copy->ssidString = networkName(*copy->ssidString);
            }
            return Value::record(copy);
        }
        if (const auto ping = v.recordAs<platform::WiFiPingResult>()) {
            auto copy = std::make_shared<platform::WiFiPingResult>(*ping);
            if (copy->interfaceName) {
                copy->interfaceName = text(*copy->interfaceName);
            }
            return Value::record(copy);
        }
        return v;  // channels hold only numbers
    }

    template <typename Replace>
    static QString replaceEach(const QString& s, const QRegularExpression& pattern, Replace replace) {
        QString out;
        qsizetype last = 0;
        auto it = pattern.globalMatch(s);
        while (it.hasNext()) {
            const auto m = it.next();
            out += s.mid(last, m.capturedStart() - last);
            out += replace(m.captured());
            last = m.capturedEnd();
        }
        return out + s.mid(last);
    }

    std::set<QString> kept_;
    std::map<QString, QString> bssids_;
    std::map<QString, QString> names_;
};

}  // namespace

Profile redacted(const Profile& profile) {
    Redactor redactor(profile);
    Profile out = profile;
    for (ServiceAnswer& answer : out.answers) {
        answer.configuration = redactor.dictionary(answer.configuration);
        answer.answer = redactor.dictionary(answer.answer);
        answer.errorText = redactor.text(answer.errorText);
    }
    out.result = redactor.value(profile.result);
    for (LogLine& line : out.log) {
        line.message = redactor.text(line.message);
    }
    out.metadata.parameters = redactor.dictionary(profile.metadata.parameters);
    // The machine's name goes; the kernel it ran stays.
    if (const qsizetype open = out.metadata.machine.indexOf(QLatin1String(" ("));
        open >= 0 && out.metadata.machine.endsWith(QLatin1Char(')'))) {
        out.metadata.machine = out.metadata.machine.mid(open + 2, out.metadata.machine.size() - open - 3);
    } else {
        out.metadata.machine.clear();
    }
    out.metadata.redacted = true;
    return out;
}

}  // namespace report
