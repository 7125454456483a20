#include "unittests/linux/probes/ProbeLab.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <vector>

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

// How a program run by runProgram() ended.
struct ProgramRun {
    QString startError;  // why it did not start
    bool timedOut = false;
    std::optional<int> exitCode;  // absent when it ended by a signal
    QString output;
    QString errors;
};

// Runs a program without a shell (posix_spawn: the thread checker cannot follow QProcess's start of
// a child), with the environment less the variables named, until it ends or timeoutMs passes
// (then it is killed). Its output goes through files, so no pipe can fill up.
ProgramRun runProgram(const QStringList& command, const QStringList& unset, int timeoutMs) {
    ProgramRun run;
    QTemporaryDir folder;
    if (!folder.isValid()) {
        run.startError = QStringLiteral("no temporary folder");
        return run;
    }
    const QByteArray outputPath = QFile::encodeName(folder.filePath(QStringLiteral("output")));
    const QByteArray errorsPath = QFile::encodeName(folder.filePath(QStringLiteral("errors")));
    std::vector<QByteArray> arguments;
    for (const QString& part : command) {
        arguments.push_back(QFile::encodeName(part));
    }
    std::vector<char*> argv;
    for (QByteArray& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    std::vector<QByteArray> environment;
    for (char** entry = environ; *entry; ++entry) {
        const QByteArray variable(*entry);
        if (!unset.contains(QString::fromLocal8Bit(variable.left(variable.indexOf('='))))) {
            environment.push_back(variable);
        }
    }
    std::vector<char*> envp;
    for (QByteArray& entry : environment) {
        envp.push_back(entry.data());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outputPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, errorsPath.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid = 0;
    const int started = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) {
        run.startError = QString::fromLocal8Bit(strerror(started));
        return run;
    }
    int status = 0;
    for (int waited = 0;; waited += 10) {
        const pid_t ended = waitpid(pid, &status, WNOHANG);
        if (ended == pid || (ended < 0 && errno != EINTR)) {
            break;
        }
        if (waited >= timeoutMs && !run.timedOut) {
            run.timedOut = true;
            kill(pid, SIGKILL);
        }
        poll(nullptr, 0, 10);
    }
    if (WIFEXITED(status)) {
        run.exitCode = WEXITSTATUS(status);
    }
    auto read = [](const QByteArray& path) {
        QFile file(QFile::decodeName(path));
        return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
    };
    run.output = read(outputPath);
    run.errors = read(errorsPath).trimmed();
    return run;
}

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
    const ProgramRun check =
        runProgram({QStringLiteral("unshare"), QStringLiteral("--user"), QStringLiteral("--map-root-user"),
                    QStringLiteral("--net"), QStringLiteral("true")},
                   {}, 10'000);
    if (check.exitCode != 0) {
        run.unavailable = QStringLiteral(
                              "this machine cannot make a user and network namespace "
                              "(unshare --user --map-root-user --net: %1)")
                              .arg(check.startError.isEmpty() ? check.errors : check.startError);
        return run;
    }

    const ProgramRun lab = runProgram(
        {QStringLiteral(PROBE_LAB_SCRIPT), QCoreApplication::applicationFilePath(),
         QStringLiteral("--gtest_filter=") + liveTestFilter(), QStringLiteral("--gtest_color=no")},
        {QStringLiteral("GTEST_TOTAL_SHARDS"), QStringLiteral("GTEST_SHARD_INDEX"),
         QStringLiteral("GTEST_OUTPUT"), QStringLiteral("GTEST_FILTER"), QStringLiteral("PROBE_LAB"),
         QStringLiteral("PROBE_LAB_DIR"), QStringLiteral("PROBE_LAB_IPV6")},
        kLabTimeoutMs);
    if (lab.exitCode == kLabUnavailable) {
        run.unavailable = QStringLiteral("the private network could not be made: %1").arg(lab.errors);
        return run;
    }
    run.outcomes = parseOutcomes(lab.output);
    // A run that ends badly although none of its tests failed (a sanitizer's report at exit, say)
    // fails every live test, each with the run's errors.
    const bool anyFailed = std::any_of(run.outcomes.begin(), run.outcomes.end(), [](const auto& entry) {
        return entry.second.result == Result::Failed;
    });
    if (lab.exitCode != 0 && !anyFailed) {
        run.outcomes.clear();
    }
    if (!lab.startError.isEmpty()) {
        run.broken =
            QStringLiteral("cannot run %1: %2").arg(QStringLiteral(PROBE_LAB_SCRIPT), lab.startError);
    } else if (lab.timedOut) {
        run.broken = QStringLiteral("the run inside the private network did not end within %1 s")
                         .arg(kLabTimeoutMs / 1000);
    } else if (!lab.exitCode) {
        run.broken = QStringLiteral("the run inside the private network crashed");
    } else {
        run.broken = QStringLiteral(
                         "the run inside the private network ended with exit status %1 and no "
                         "outcome for this test that explains it")
                         .arg(*lab.exitCode);
    }
    run.broken += QStringLiteral("\n--- its output ---\n%1\n--- its errors ---\n%2")
                      .arg(lab.output.right(4000), lab.errors.right(4000));
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
