#include "unittests/linux/probes/ProbeLab.h"

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

#include <gtest/gtest.h>

#include <map>

namespace probelab {

namespace {

constexpr int kLabUnavailable = 97;  // netlab.sh could not make the network
constexpr int kLabTimeoutMs = 120'000;

enum class Result { Passed, Failed, Skipped };

struct Outcome {
    Result result = Result::Failed;
    QString log;  // what the test printed inside
};

struct LabRun {
    QString unavailable;  // why the network could not be made; all live tests are skipped
    QString broken;       // why the run inside went wrong; every live test without an outcome fails
    std::map<QString, Outcome> outcomes;
};

QString currentTestName() {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    return QStringLiteral("%1.%2").arg(QString::fromUtf8(info->test_suite_name()),
                                       QString::fromUtf8(info->name()));
}

// The live tests that this run selected.
QString liveTestFilter() {
    QStringList names;
    const testing::UnitTest* unit = testing::UnitTest::GetInstance();
    for (int s = 0; s < unit->total_test_suite_count(); ++s) {
        const testing::TestSuite* suite = unit->GetTestSuite(s);
        if (!QString::fromUtf8(suite->name()).startsWith(QLatin1String("LiveProbes"))) {
            continue;
        }
        for (int t = 0; t < suite->total_test_count(); ++t) {
            const testing::TestInfo* info = suite->GetTestInfo(t);
            if (info->should_run()) {
                names << QStringLiteral("%1.%2").arg(QString::fromUtf8(suite->name()),
                                                     QString::fromUtf8(info->name()));
            }
        }
    }
    return names.join(QLatin1Char(':'));
}

// The outcome of each test in a test binary's output: "[ RUN      ] name" opens its log, and
// "[       OK ]", "[  FAILED  ]" or "[  SKIPPED ]" with the same name closes it.
std::map<QString, Outcome> parseOutcomes(const QString& output) {
    std::map<QString, Outcome> outcomes;
    QString running;
    QStringList log;
    const std::pair<const char*, Result> ends[] = {{"[       OK ] ", Result::Passed},
                                                   {"[  FAILED  ] ", Result::Failed},
                                                   {"[  SKIPPED ] ", Result::Skipped}};
    for (const QString& line : output.split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("[ RUN      ] "))) {
            running = line.mid(13).trimmed();
            log.clear();
            continue;
        }
        if (running.isEmpty()) {
            continue;
        }
        bool ended = false;
        for (const auto& [marker, result] : ends) {
            if (line.startsWith(QLatin1String(marker)) &&
                line.mid(13).section(QLatin1Char(' '), 0, 0) == running) {
                outcomes[running] = Outcome{result, log.join(QLatin1Char('\n'))};
                running.clear();
                ended = true;
                break;
            }
        }
        if (!ended) {
            log << line;
        }
    }
    return outcomes;
}

LabRun runLab() {
    LabRun run;
    QProcess check;
    check.start(QStringLiteral("unshare"), {QStringLiteral("--user"), QStringLiteral("--map-root-user"),
                                            QStringLiteral("--net"), QStringLiteral("true")});
    if (!check.waitForFinished(10'000) || check.exitStatus() != QProcess::NormalExit ||
        check.exitCode() != 0) {
        run.unavailable = QStringLiteral(
                              "this machine cannot make a user and network namespace "
                              "(unshare --user --map-root-user --net: %1)")
                              .arg(check.error() == QProcess::FailedToStart
                                       ? check.errorString()
                                       : QString::fromLocal8Bit(check.readAllStandardError()).trimmed());
        return run;
    }

    QProcess lab;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX", "GTEST_OUTPUT", "GTEST_FILTER",
                             "PROBE_LAB", "PROBE_LAB_DIR"}) {
        environment.remove(QString::fromLatin1(name));
    }
    lab.setProcessEnvironment(environment);
    lab.start(QStringLiteral(PROBE_LAB_SCRIPT),
              {QCoreApplication::applicationFilePath(), QStringLiteral("--gtest_filter=") + liveTestFilter(),
               QStringLiteral("--gtest_color=no")});
    const bool ended = lab.waitForFinished(kLabTimeoutMs);
    if (!ended) {
        lab.kill();
        lab.waitForFinished(5'000);
    }
    const QString output = QString::fromLocal8Bit(lab.readAllStandardOutput());
    const QString errors = QString::fromLocal8Bit(lab.readAllStandardError()).trimmed();
    if (ended && lab.exitStatus() == QProcess::NormalExit && lab.exitCode() == kLabUnavailable) {
        run.unavailable = QStringLiteral("the private network could not be made: %1").arg(errors);
        return run;
    }
    run.outcomes = parseOutcomes(output);
    if (!ended) {
        run.broken = QStringLiteral("the run inside the private network did not end within %1 s")
                         .arg(kLabTimeoutMs / 1000);
    } else if (lab.exitStatus() != QProcess::NormalExit) {
        run.broken = QStringLiteral("the run inside the private network crashed");
    } else {
        run.broken = QStringLiteral(
                         "the run inside the private network gave no outcome for this test "
                         "(exit status %1)")
                         .arg(lab.exitCode());
    }
    run.broken += QStringLiteral("\n--- its output ---\n%1\n--- its errors ---\n%2")
                      .arg(output.right(4000), errors.right(4000));
    return run;
}

const LabRun& labRun() {
    static const LabRun run = runLab();
    return run;
}

}  // namespace

bool insideLab() {
    return qEnvironmentVariable("PROBE_LAB") == QLatin1String("1") && !labDirectory().isEmpty();
}

QString labDirectory() {
    return qEnvironmentVariable("PROBE_LAB_DIR");
}

void reportOutcomeInsideLab() {
    const LabRun& run = labRun();
    if (!run.unavailable.isEmpty()) {
        GTEST_SKIP() << run.unavailable.toStdString();
    }
    const auto found = run.outcomes.find(currentTestName());
    if (found == run.outcomes.end()) {
        ADD_FAILURE() << run.broken.toStdString();
        return;
    }
    const Outcome& outcome = found->second;
    switch (outcome.result) {
        case Result::Passed:
            SUCCEED();
            break;
        case Result::Failed:
            ADD_FAILURE() << "inside the private network:\n" << outcome.log.toStdString();
            break;
        case Result::Skipped:
            GTEST_SKIP() << "inside the private network:\n" << outcome.log.toStdString();
    }
}

}  // namespace probelab
