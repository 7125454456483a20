// The HTML report opened in a real browser: Debian's chromium, headless, inside a network
// namespace of its own (unshare -rn: no route anywhere). Its DOM must hold every finding and the
// plots; no request may leave the file (read from the browser's own network log) and no console
// message may appear (a policy violation or a script would print one). A control page with an
// outside image and a script shows that both checks see what they look for. With
// WIFIPROFILE_UPDATE_GOLDEN=1 the screenshot is also written to docs/report.png.
// Skipped, with the reason, where chromium or user namespaces are missing.

#include "ReportProfiles.h"

#include "host/report/Findings.h"
#include "host/report/HtmlReport.h"
#include "host/report/Svg.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <gtest/gtest.h>

#include <iostream>

namespace {

using namespace reporttest;

std::string str(const QString& s) {
    return s.toStdString();
}

// Text as Chromium's DOM serialiser writes it: only &, <, > and the no-break space escaped.
QString domText(const QString& s) {
    QString out = report::visibleText(s);
    out.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    out.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    out.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    out.replace(QChar(0x00A0), QLatin1String("&nbsp;"));
    return out;
}

struct BrowserRun {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    QString netLog;  // the browser's network log file
};

class ReportInBrowserTest : public ::testing::Test {
  protected:
    void SetUp() override {
        chromium_ = QStandardPaths::findExecutable(QStringLiteral("chromium"));
        if (chromium_.isEmpty()) {
            // CI installs it with the rest: there, a missing browser is a broken set-up, not a skip.
            if (qEnvironmentVariableIsSet("CI")) {
                FAIL() << "chromium is not installed, though scripts/install-deps.sh installs it";
            }
            GTEST_SKIP() << "chromium is not installed (scripts/install-deps.sh installs it)";
        }
        unshare_ = QStandardPaths::findExecutable(QStringLiteral("unshare"));
        if (unshare_.isEmpty()) {
            GTEST_SKIP()
                << "unshare is not installed: the browser runs only in a network namespace of its own";
        }
        QProcess probe;
        probe.start(unshare_, {QStringLiteral("-rn"), QStringLiteral("true")});
        if (!probe.waitForFinished(10000) || probe.exitStatus() != QProcess::NormalExit ||
            probe.exitCode() != 0) {
            GTEST_SKIP() << "this machine makes no user and network namespace (unshare -rn true: "
                         << probe.readAllStandardError().trimmed().toStdString() << ")";
        }
        ASSERT_TRUE(dir_.isValid());
    }

    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = dir_.filePath(name);
        EXPECT_TRUE(writeFile(path, bytes)) << str(path);
        return path;
    }

    // chromium on a file, headless, in a namespace with no network, with its console on stderr and
    // its network log kept.
    BrowserRun open(const QString& file, const QStringList& extra) {
        const int n = ++runs_;
        BrowserRun run;
        run.netLog = dir_.filePath(QStringLiteral("netlog-%1.json").arg(n));
        QStringList args{
            QStringLiteral("-rn"),
            chromium_,
            QStringLiteral("--headless"),
            QStringLiteral("--no-sandbox"),
            QStringLiteral("--disable-gpu"),
            QStringLiteral("--no-first-run"),
            QStringLiteral("--disable-background-networking"),
            QStringLiteral("--disable-component-update"),
            QStringLiteral("--disable-sync"),
            QStringLiteral("--hide-scrollbars"),
            QStringLiteral("--user-data-dir=") + dir_.filePath(QStringLiteral("browser-%1").arg(n)),
            QStringLiteral("--enable-logging=stderr"),
            QStringLiteral("--v=0"),
            QStringLiteral("--log-net-log=") + run.netLog};
        args += extra;
        args << QUrl::fromLocalFile(file).toString();
        QProcess p;
        p.start(unshare_, args);
        if (!p.waitForFinished(30000)) {
            p.kill();
            p.waitForFinished(5000);
            ADD_FAILURE() << "chromium did not finish within 30 s on " << str(file);
        }
        run.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        run.out = p.readAllStandardOutput();
        run.err = p.readAllStandardError();
        return run;
    }

    BrowserRun dumpDom(const QString& file) { return open(file, {QStringLiteral("--dump-dom")}); }

    QString chromium_, unshare_;
    QTemporaryDir dir_;
    int runs_ = 0;
};

// The URLs the page itself asked for, from the browser's network log: requests whose initiator is
// an origin or whose isolation key is the file's. The browser's own background requests (which
// have nowhere to go in the namespace either) have no origin and are not the page's.
QStringList pageRequests(const QString& netLogPath, QString* problem) {
    QFile f(netLogPath);
    if (!f.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("no network log at ") + netLogPath;
        return {};
    }
    QByteArray json = f.readAll();
    QJsonParseError error;
    QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (doc.isNull()) {
        // A log cut short at exit lacks its closing; it is complete up to its last event.
        json = json.trimmed();
        if (json.endsWith(',')) {
            json.chop(1);
        }
        doc = QJsonDocument::fromJson(json + "]}", &error);
    }
    if (doc.isNull()) {
        *problem = QStringLiteral("unreadable network log: ") + error.errorString();
        return {};
    }
    const QJsonObject root = doc.object();
    const int startJob = root.value(QStringLiteral("constants"))
                             .toObject()
                             .value(QStringLiteral("logEventTypes"))
                             .toObject()
                             .value(QStringLiteral("URL_REQUEST_START_JOB"))
                             .toInt(-1);
    if (startJob < 0) {
        *problem = QStringLiteral("the network log names no URL_REQUEST_START_JOB event");
        return {};
    }
    QStringList urls;
    for (const QJsonValue& e : root.value(QStringLiteral("events")).toArray()) {
        const QJsonObject event = e.toObject();
        if (event.value(QStringLiteral("type")).toInt() != startJob) {
            continue;
        }
        const QJsonObject params = event.value(QStringLiteral("params")).toObject();
        if (!params.contains(QStringLiteral("url"))) {
            continue;  // the end of a job: its start named the URL
        }
        const QString initiator = params.value(QStringLiteral("initiator")).toString();
        const QString isolation = params.value(QStringLiteral("network_isolation_key")).toString();
        if (initiator != QLatin1String("not an origin") || isolation.contains(QLatin1String("file://"))) {
            urls << params.value(QStringLiteral("url")).toString();
        }
    }
    return urls;
}

// The console messages of pages loaded from files; the browser's own pages (chrome://) log some of
// their own.
QStringList consoleLines(const QByteArray& err) {
    QStringList out;
    for (const QByteArray& line : err.split('\n')) {
        if (line.contains(":CONSOLE") && line.contains("source: file://")) {
            out << QString::fromUtf8(line);
        }
    }
    return out;
}

void expectLoadedAlone(const BrowserRun& run) {
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(consoleLines(run.err).isEmpty()) << str(consoleLines(run.err).join(QLatin1Char('\n')));
    QString problem;
    const QStringList requests = pageRequests(run.netLog, &problem);
    EXPECT_TRUE(problem.isEmpty()) << str(problem);
    EXPECT_TRUE(requests.isEmpty()) << "the page asked for: " << str(requests.join(QStringLiteral(", ")));
}

void expectDomOfAReport(const QString& dom) {
    EXPECT_TRUE(
        dom.contains(QLatin1String("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src "
                                   "'none'; style-src 'unsafe-inline'; img-src data:\">")));
    EXPECT_EQ(dom.count(QLatin1String("<script"), Qt::CaseInsensitive), 1);
    EXPECT_TRUE(dom.contains(QLatin1String("<script type=\"application/json\" id=\"profile\">")));
    for (const char* id : {"verdict", "link", "channels", "pings", "findings", "appendix"}) {
        EXPECT_TRUE(dom.contains(QStringLiteral("<section id=\"%1\"").arg(QLatin1String(id)))) << id;
    }
    for (const char* id : {"signal-plot", "ping-plot"}) {
        EXPECT_TRUE(dom.contains(QStringLiteral("<svg id=\"%1\"").arg(QLatin1String(id)))) << id;
    }
    EXPECT_FALSE(dom.contains(QLatin1String("src=\"http"), Qt::CaseInsensitive));
    EXPECT_FALSE(dom.contains(QLatin1String("href=\"http"), Qt::CaseInsensitive));
    EXPECT_TRUE(dom.trimmed().endsWith(QLatin1String("</html>")));
}

TEST_F(ReportInBrowserTest, TheChecksSeeARequestAndAConsoleMessage) {
    // No policy, an image from outside and a script: what the report must never do.
    const QString control =
        write(QStringLiteral("control.html"),
              "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>control</title></head>"
              "<body><p>control</p><img src=\"http://127.0.0.1:9/outside.png\">"
              "<script>console.log('control script ran')</script></body></html>");
    const BrowserRun run = dumpDom(control);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    QString problem;
    const QStringList requests = pageRequests(run.netLog, &problem);
    EXPECT_TRUE(problem.isEmpty()) << str(problem);
    EXPECT_TRUE(requests.contains(QStringLiteral("http://127.0.0.1:9/outside.png")))
        << "the network log check did not see the page's request: "
        << str(requests.join(QStringLiteral(", ")));
    EXPECT_FALSE(consoleLines(run.err).isEmpty()) << "the console check did not see the script's message";
}

TEST_F(ReportInBrowserTest, OpensOfflineWithEveryFindingAndThePlots) {
    const report::Profile profile = goldenProfile(kGoldenCases[1]);  // with a selected network
    const report::Findings findings = report::findingsOf(profile);
    const QString file = write(QStringLiteral("report.html"), report::htmlReport(profile, findings));
    const BrowserRun run = dumpDom(file);
    expectLoadedAlone(run);
    const QString dom = QString::fromUtf8(run.out);
    expectDomOfAReport(dom);
    ASSERT_FALSE(findings.items.empty());
    for (const report::Finding& f : findings.items) {
        EXPECT_TRUE(dom.contains(domText(f.title))) << "not in the page: " << str(f.title);
        EXPECT_TRUE(dom.contains(QStringLiteral("data-key=\"%1\"").arg(f.key))) << str(f.key);
    }
    for (const char* id : {"channels-2ghz", "channels-5ghz"}) {
        EXPECT_TRUE(dom.contains(QStringLiteral("<svg id=\"%1\"").arg(QLatin1String(id)))) << id;
    }
    EXPECT_EQ(dom.count(QLatin1String("class=\"ap ap-joined\"")), 1);
    EXPECT_TRUE(dom.contains(QLatin1String("class=\"ap ap-selected\"")));
}

TEST_F(ReportInBrowserTest, AHostileReportOpensWithItsNamesAsText) {
    const report::Profile profile = hostileProfile();
    const QString file =
        write(QStringLiteral("hostile.html"), report::htmlReport(profile, report::findingsOf(profile)));
    const BrowserRun run = dumpDom(file);
    expectLoadedAlone(run);
    const QString dom = QString::fromUtf8(run.out);
    expectDomOfAReport(dom);
    EXPECT_TRUE(dom.contains(domText(hostileNetworkName())))
        << "the joined network's name is not shown as text";
    for (const char* tag : {"<img", "<b>", "<i>", "<a ", "<iframe", "<h1>x"}) {
        EXPECT_FALSE(dom.contains(QLatin1String(tag), Qt::CaseInsensitive)) << tag << " became an element";
    }
    EXPECT_FALSE(dom.contains(QChar(0x202E)));
}

TEST_F(ReportInBrowserTest, Screenshot) {
    const report::Profile profile = goldenProfile(kGoldenCases[1]);
    const QString file =
        write(QStringLiteral("report.html"), report::htmlReport(profile, report::findingsOf(profile)));
    const QString png = dir_.filePath(QStringLiteral("report.png"));
    const BrowserRun run =
        open(file, {QStringLiteral("--screenshot=") + png, QStringLiteral("--window-size=1200,1600")});
    expectLoadedAlone(run);
    const QImage image(png);
    ASSERT_FALSE(image.isNull()) << "no screenshot at " << str(png) << "\n" << run.err.toStdString();
    EXPECT_EQ(image.width(), 1200);
    EXPECT_EQ(image.height(), 1600);
    // Something was drawn: the page is not one colour.
    QSet<QRgb> colours;
    for (int y = 0; y < image.height() && colours.size() < 50; y += 7) {
        for (int x = 0; x < image.width(); x += 7) {
            colours.insert(image.pixel(x, y));
        }
    }
    EXPECT_GE(colours.size(), 50);
    if (qEnvironmentVariableIsSet("WIFIPROFILE_UPDATE_GOLDEN")) {
        const QString docs = sourcePath(QStringLiteral("docs/report.png"));
        QFile::remove(docs);
        ASSERT_TRUE(QFile::copy(png, docs)) << str(docs);
        std::cout << "wrote " << str(docs) << "; look at it before committing it\n";
    }
}

}  // namespace
