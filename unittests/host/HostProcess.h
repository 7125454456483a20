#pragma once
// Runs the wifi-profile application as a user runs it: a separate process with its command line,
// its result on stdout, its messages on stderr, its events file and its exit code.

#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace hosttest {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;

inline const QString kHost = QStringLiteral(WIFIPROFILE_BINARY_DIR "/host/wifi-profile");

struct HostRun {
    int exitCode = -1;
    bool crashed = false;
    QByteArray out;
    QString err;
    std::vector<DictionaryRef> events;
    std::chrono::milliseconds took{0};

    // The events of one kind, in order.
    std::vector<DictionaryRef> eventsOf(const QString& kind) const {
        std::vector<DictionaryRef> found;
        for (const auto& e : events) {
            if (e->value(QStringLiteral("event"))->toString() == kind) {
                found.push_back(e);
            }
        }
        return found;
    }
};

inline std::string str(const QString& s) {
    return s.toStdString();
}

inline std::string json(const Value& v) {
    return platform::toJson(v).toStdString();
}

inline Value field(const DictionaryRef& d, const char* key) {
    const auto v = d->value(QString::fromUtf8(key));
    return v ? *v : Value::string(QStringLiteral("<absent>"));
}

class HostRunTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    QString write(const QString& name, const QByteArray& text) {
        const QString path = dir.filePath(name);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(text);
        return path;
    }

    // Runs the host with arguments and an events file; every events line must be a JSON object.
    HostRun run(QStringList arguments,
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
        const QString eventsPath = dir.filePath(QStringLiteral("events-%1.jsonl").arg(++runs));
        arguments = QStringList{QStringLiteral("--events"), eventsPath} + arguments;
        // The simulated device unless a test asks for another: a run must not depend on whether
        // the machine running the tests has Wi-Fi.
        const bool choosesBackend = std::any_of(arguments.begin(), arguments.end(), [](const QString& a) {
            return a.startsWith(QLatin1String("--backend")) || a.startsWith(QLatin1String("--scenario")) ||
                   a.startsWith(QLatin1String("--render"));  // a saved profile: no device at all
        });
        if (!choosesBackend) {
            arguments.prepend(QStringLiteral("--backend=sim"));
        }
        HostRun r;
        QProcess process;
        process.setProgram(kHost);
        process.setArguments(arguments);
        process.setProcessEnvironment(environment);
        const auto started = std::chrono::steady_clock::now();
        process.start();
        EXPECT_TRUE(process.waitForStarted(10000)) << str(process.errorString());
        EXPECT_TRUE(process.waitForFinished(60000)) << "wifi-profile did not end";
        r.took =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
        r.crashed = process.exitStatus() != QProcess::NormalExit;
        r.exitCode = process.exitCode();
        r.out = process.readAllStandardOutput();
        r.err = QString::fromUtf8(process.readAllStandardError());
        QFile events(eventsPath);
        if (events.open(QIODevice::ReadOnly)) {
            for (const QByteArray& line : events.readAll().split('\n')) {
                if (line.isEmpty()) {
                    continue;
                }
                QString why;
                const auto v = platform::tryParseJson(line, &why);
                EXPECT_TRUE(v && v->kind() == Value::Kind::Dictionary)
                    << "bad events line: " << line.toStdString() << " " << str(why);
                if (v && v->kind() == Value::Kind::Dictionary) {
                    r.events.push_back(v->toDictionary());
                }
            }
        }
        EXPECT_FALSE(r.crashed) << str(r.err);
        return r;
    }

    // The display text of a strings-table key, as the diagnostic's screens show it.
    static QString text(const QString& key) {
        QFile f(QStringLiteral(WIFIPROFILE_SOURCE_DIR "/wifiprofile/resources/strings/en.json"));
        EXPECT_TRUE(f.open(QIODevice::ReadOnly));
        const auto value = platform::parseJson(f.readAll()).toDictionary()->value(key);
        EXPECT_TRUE(value.has_value()) << str(key);
        return value ? value->toString() : QString();
    }

    QTemporaryDir dir;
    int runs = 0;
};

// Every run that got as far as the diagnostic ends with a handle report; none may show a leak.
inline void expectNoHandleTrouble(const HostRun& r) {
    const auto reports = r.eventsOf(QStringLiteral("handles"));
    ASSERT_EQ(reports.size(), 1u) << str(r.err);
    EXPECT_EQ(field(reports[0], "live").toInt(), 0) << json(Value::dictionary(reports[0]));
    EXPECT_EQ(field(reports[0], "overReleases").toInt(), 0);
}

// The status codes the diagnostic reported through setFinished(true), in order.
inline std::vector<std::int64_t> finishedCodes(const HostRun& r) {
    std::vector<std::int64_t> codes;
    for (const auto& e : r.eventsOf(QStringLiteral("finished"))) {
        if (field(e, "finished").toBool()) {
            codes.push_back(field(e, "statusCode").toInt());
        }
    }
    return codes;
}

}  // namespace hosttest
