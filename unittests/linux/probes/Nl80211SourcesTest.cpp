// Where the nl80211 dumps come from: recordings written by the radio fixtures and by the recorder,
// read back and checked file by file, and this machine's kernel.
#include "platform/wifi/linux/Nl80211Sources.h"

#include "unittests/linux/probes/QtPrinting.h"
#include "unittests/linux/support/RadioFixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <linux/nl80211.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>

using namespace platform::linuxwifi;
using namespace radiofixtures;

namespace {

const QString kAp = QStringLiteral("aa:bb:cc:00:00:01");

// A device joined to a 2.4 GHz network, with something in every dump.
RadioFixture joinedDevice() {
    RadioFixture f;
    f.otherInterfaces = {{"wlan1", 4, 1}};
    f.bsses = {
        {kAp, 2437, 100, 0x0411, ssidElement("home") + rsnElement(), timElement(2), -5000, true, false, {}},
        {"aa:bb:cc:00:00:02", 5180, 100, 0x0411, ssidElement("lab"), {}, -7000, false, true, {}}};
    f.station = StationFixture{kAp, -50, -51, BitrateFixture{1300, 7, {}, {}, {}, 20}, {}, 2, 100, {}};
    f.survey = {{2437, -92, true, {}}, {2412, -95, false, {}}};
    f.regulatory = {{"US", {}, false}};
    f.bands = {{NL80211_BAND_2GHZ, 0x01ef, {}, true, false},
               {NL80211_BAND_5GHZ, 0x09ef, 0x338819fa, true, false}};
    return f;
}

Nl80211DumpError loadError(const QString& dir) {
    try {
        loadNl80211Recording(dir);
        ADD_FAILURE() << "the recording in " << dir.toStdString() << " loaded";
    } catch (const Nl80211DumpError& error) {
        return error;
    }
    return {};
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

TEST(Nl80211Recording, AGoodRecordingLoadsAsWritten) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const RadioFixture f = joinedDevice();
    f.writeTo(dir.path());
    const auto source = loadNl80211Recording(dir.path());
    for (const auto& [which, bytes] : f.dumps()) {
        const auto loaded = source->dump(which, 3);
        ASSERT_TRUE(loaded.has_value()) << nl80211DumpName(which).toStdString();
        EXPECT_EQ(*loaded, bytes) << nl80211DumpName(which).toStdString();
    }
    const RadioSnapshot s = takeRadioSnapshot(*source, "wlan0");
    EXPECT_EQ(s.interface.ifindex, 3);
    EXPECT_EQ(s.scan.size(), 2u);
    ASSERT_NE(s.joinedBss({}), nullptr);
    EXPECT_EQ(bssidText(s.joinedBss({})->bssid), kAp);
    EXPECT_EQ(s.noiseAt(2437), -92);
    EXPECT_EQ(s.regulatoryDomain(), "US");
}

TEST(Nl80211Recording, AnAbsentFileIsADumpTheKernelDidNotAnswer) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    RadioFixture f = joinedDevice();
    f.leftOut = {Nl80211Dump::Survey, Nl80211Dump::Regulatory};
    f.writeTo(dir.path());
    EXPECT_FALSE(QFileInfo::exists(QDir(dir.path()).filePath("GET_SURVEY")));
    const auto source = loadNl80211Recording(dir.path());
    EXPECT_FALSE(source->dump(Nl80211Dump::Survey, 3).has_value());
    EXPECT_FALSE(source->dump(Nl80211Dump::Regulatory, std::nullopt).has_value());
    EXPECT_TRUE(source->dump(Nl80211Dump::Scan, 3).has_value());
    const RadioSnapshot s = takeRadioSnapshot(*source, "wlan0");
    EXPECT_TRUE(s.survey.empty());
    EXPECT_FALSE(s.regulatory.has_value());
    EXPECT_EQ(s.scan.size(), 2u);

    QTemporaryDir empty;
    ASSERT_TRUE(empty.isValid());
    const auto nothing = loadNl80211Recording(empty.path());
    for (const Nl80211Dump which : kAllNl80211Dumps) {
        EXPECT_FALSE(nothing->dump(which, 3).has_value()) << nl80211DumpName(which).toStdString();
    }
}

TEST(Nl80211Recording, ADamagedFileIsNamedWithItsPathAndByte) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const RadioFixture f = joinedDevice();
    f.writeTo(dir.path());
    const QString scanPath = QDir(dir.path()).filePath("GET_SCAN");
    const QByteArray scan = f.dumps().at(Nl80211Dump::Scan);
    writeFile(scanPath, scan.left(scan.size() - 4));
    const Nl80211DumpError cut = loadError(dir.path());
    EXPECT_EQ(cut.dump, scanPath);
    EXPECT_EQ(cut.error.offset, scan.size() - 20);  // the NLMSG_DONE, four bytes short
    EXPECT_EQ(cut.text(), QStringLiteral("%1: byte %2: message of 20 bytes runs past the end (16 bytes left)")
                              .arg(scanPath)
                              .arg(scan.size() - 20));

    // A nested attribute past its parent: the station's information claims more than its message.
    writeFile(scanPath, scan);
    const QString stationPath = QDir(dir.path()).filePath("GET_STATION");
    QByteArray station = f.dumps().at(Nl80211Dump::Station);
    // Headers 20, IFINDEX 8, MAC 12, GENERATION 8: the STA_INFO attribute starts at 48, and its first
    // attribute at 52 now claims as many bytes as the whole of STA_INFO.
    std::uint16_t infoLength = 0;
    std::memcpy(&infoLength, station.constData() + 48, sizeof infoLength);
    std::memcpy(station.data() + 52, &infoLength, sizeof infoLength);
    writeFile(stationPath, station);
    const Nl80211DumpError nested = loadError(dir.path());
    EXPECT_EQ(nested.dump, stationPath);
    EXPECT_EQ(nested.error.offset, 52);
    EXPECT_EQ(nested.text(),
              QStringLiteral("%1: byte 52: attribute %2 of %3 bytes runs past its nested attribute "
                             "(%4 bytes left)")
                  .arg(stationPath)
                  .arg(NL80211_STA_INFO_INACTIVE_TIME)
                  .arg(infoLength)
                  .arg(infoLength - 4));
}

TEST(Nl80211Recording, AFileThatIsNoDumpAtAll) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = QDir(dir.path()).filePath("GET_REG");
    writeFile(path, "hello");
    const Nl80211DumpError error = loadError(dir.path());
    EXPECT_EQ(error.text(), path + ": byte 0: 5 bytes left, too few for a message header");
    writeFile(path, {});
    EXPECT_EQ(loadError(dir.path()).text(), path + ": byte 0: the dump does not end: no NLMSG_DONE");
}

TEST(Nl80211Recording, AFolderThatIsNoRecording) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString missing = QDir(dir.path()).filePath("nowhere");
    const Nl80211DumpError absent = loadError(missing);
    EXPECT_EQ(absent.dump, missing);
    EXPECT_EQ(absent.text(), missing + ": no such directory");
    const QString file = QDir(dir.path()).filePath("file");
    writeFile(file, "x");
    EXPECT_EQ(loadError(file).text(), file + ": not a directory");
    // A dump's name taken by something that cannot be read as a file.
    ASSERT_TRUE(QDir(dir.path()).mkdir("GET_WIPHY"));
    const Nl80211DumpError unreadable = loadError(dir.path());
    EXPECT_EQ(unreadable.dump, QDir(dir.path()).filePath("GET_WIPHY"));
    EXPECT_TRUE(unreadable.text().startsWith(unreadable.dump + ": cannot be read: "))
        << unreadable.text().toStdString();
}

TEST(Nl80211Recorder, WritesEachAnswerSoThatItLoadsBackIdentically) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    RadioFixture f = joinedDevice();
    f.leftOut = {Nl80211Dump::Regulatory};
    const QString into = QDir(dir.path()).filePath("laptop/radio");  // made by the recorder
    auto memory = std::make_shared<MemoryNl80211Source>(f.dumps());
    RecordingNl80211Source recorder(memory, into);
    const RadioSnapshot live = takeRadioSnapshot(recorder, "wlan0");
    EXPECT_EQ(recorder.written(), 5);
    EXPECT_FALSE(recorder.writeError().has_value()) << recorder.writeError().value_or("").toStdString();
    EXPECT_FALSE(QFileInfo::exists(QDir(into).filePath("GET_REG")));

    const auto replayed = loadNl80211Recording(into);
    for (const Nl80211Dump which : kAllNl80211Dumps) {
        EXPECT_EQ(replayed->dump(which, 3), memory->dump(which, 3)) << nl80211DumpName(which).toStdString();
    }
    const RadioSnapshot again = takeRadioSnapshot(*replayed, "wlan0");
    EXPECT_EQ(again.scan.size(), live.scan.size());
    EXPECT_EQ(again.stations.size(), live.stations.size());
    EXPECT_EQ(again.survey.size(), live.survey.size());
    EXPECT_EQ(again.wiphy.has_value(), live.wiphy.has_value());
    EXPECT_FALSE(again.regulatory.has_value());
}

TEST(Nl80211Recorder, ALaterAnswerReplacesTheEarlierOne) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    RadioFixture before = joinedDevice();
    RadioFixture after = joinedDevice();
    after.bsses.pop_back();
    const QString scanPath = QDir(dir.path()).filePath("GET_SCAN");
    RecordingNl80211Source first(std::make_shared<MemoryNl80211Source>(before.dumps()), dir.path());
    first.dump(Nl80211Dump::Scan, 3);
    EXPECT_EQ(readFile(scanPath), before.dumps().at(Nl80211Dump::Scan));
    RecordingNl80211Source second(std::make_shared<MemoryNl80211Source>(after.dumps()), dir.path());
    second.dump(Nl80211Dump::Scan, 3);
    EXPECT_EQ(readFile(scanPath), after.dumps().at(Nl80211Dump::Scan));
    EXPECT_EQ(second.written(), 1);
}

TEST(Nl80211Recorder, AWriteThatFailsIsKeptAndTheAnswerStillPassesOn) {
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString blocker = QDir(dir.path()).filePath("blocker");
    writeFile(blocker, "a file where the recording's folder should go");
    const RadioFixture f = joinedDevice();
    RecordingNl80211Source recorder(std::make_shared<MemoryNl80211Source>(f.dumps()), blocker);
    const auto answer = recorder.dump(Nl80211Dump::Interface, std::nullopt);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, f.dumps().at(Nl80211Dump::Interface));
    EXPECT_EQ(recorder.written(), 0);
    ASSERT_TRUE(recorder.writeError().has_value());
    EXPECT_TRUE(recorder.writeError()->startsWith("cannot write " + QDir(blocker).filePath("GET_INTERFACE")))
        << recorder.writeError()->toStdString();
}

TEST(KernelNl80211, AKernelWithoutNl80211SaysSo) {
    KernelNl80211Source kernel;
    std::optional<QByteArray> answer;
    try {
        answer = kernel.dump(Nl80211Dump::Interface, std::nullopt);
    } catch (const Nl80211Missing& missing) {
        EXPECT_EQ(missing.why, "this kernel does not offer nl80211");
        // The answer is kept: the next dump says the same without asking again.
        try {
            kernel.dump(Nl80211Dump::Scan, 3);
            ADD_FAILURE() << "the second dump found nl80211";
        } catch (const Nl80211Missing& again) {
            EXPECT_EQ(again.why, missing.why);
        }
        return;
    }
    // This kernel has nl80211: its answer must at least be a well-formed dump.
    ASSERT_TRUE(answer.has_value());
    EXPECT_NO_THROW(checkNl80211Dump(Nl80211Dump::Interface, *answer, "GET_INTERFACE"));
    std::cout << "this kernel offers nl80211 ("
              << (QFileInfo::exists("/sys/class/ieee80211") ? "with" : "without")
              << " /sys/class/ieee80211)\n";
    GTEST_SKIP() << "this kernel offers nl80211, so the answer of a kernel without it cannot be seen here";
}

TEST(KernelNl80211, TheFamilyLookupAndAnAnswerEndOnEveryKernel) {
    // Every kernel has the generic netlink controller's own family, nlctrl: its lookup answers one
    // message (no multi-part answer, no NLMSG_DONE), and a dump sent to it is answered, refused or
    // not, within the socket's time: the exchange must see both ends.
    KernelNl80211Source controller("nlctrl");
    const auto started = std::chrono::steady_clock::now();
    std::optional<QByteArray> answer;
    ASSERT_NO_THROW(answer = controller.dump(Nl80211Dump::Interface, std::nullopt));
    ASSERT_TRUE(answer.has_value());
    EXPECT_NO_THROW(readDump(*answer));
    // A second exchange on the same socket works as well.
    ASSERT_NO_THROW(answer = controller.dump(Nl80211Dump::Regulatory, std::nullopt));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(1900))
        << "an exchange waited for the socket's time limit instead of seeing the answer's end";
}

TEST(KernelNl80211, AFamilyTheKernelDoesNotHaveIsNamed) {
    KernelNl80211Source kernel("wifiprof-none");
    try {
        kernel.dump(Nl80211Dump::Interface, std::nullopt);
        ADD_FAILURE() << "the kernel has a family named wifiprof-none";
    } catch (const Nl80211Missing& missing) {
        EXPECT_EQ(missing.why, "this kernel does not offer wifiprof-none");
    }
}
