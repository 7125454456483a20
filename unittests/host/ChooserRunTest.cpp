// Whole list-mode runs of the wifi-profile application through its network chooser: the shipped
// chooser scenarios, the table after each step, the batch of a refresh, the chosen network's
// requests and result, screenshots, and automation that asks for rows that are not there.
#include "unittests/host/HostProcess.h"

#include <QImage>

namespace {

using namespace hosttest;

const QString kScenarios = QStringLiteral(WIFIPROFILE_SOURCE_DIR "/scenarios/");

class ChooserRunTest : public HostRunTest {
  protected:
    HostRun runScenario(const QString& file, QStringList more = {}) {
        return run(QStringList{QStringLiteral("--list"), QStringLiteral("--scenario"), kScenarios + file} +
                   more);
    }
    // The texts of a section's rows in a snapshot's table.
    static QStringList rows(const DictionaryRef& snapshot, long section) {
        QStringList texts;
        const auto table = field(snapshot, "screen").toDictionary()->value(QStringLiteral("table"));
        if (!table) {
            return {QStringLiteral("<no table>")};
        }
        const auto sections = table->toDictionary()->value(QStringLiteral("sections"))->toArray();
        for (const Value& row :
             *(*sections)[section].toDictionary()->value(QStringLiteral("rows"))->toArray()) {
            texts << row.toDictionary()->value(QStringLiteral("text"))->toString();
        }
        return texts;
    }
    static DictionaryRef result(const HostRun& r) {
        const auto v = platform::parseJson(r.out);
        return v.toDictionary();
    }
    // The network names the selected-network requests carried.
    static QStringList requestedNetworks(const HostRun& r) {
        QStringList names;
        for (const auto& e : r.eventsOf(QStringLiteral("request"))) {
            const auto configuration = e->value(QStringLiteral("configuration"));
            const auto name = configuration && configuration->toDictionary()
                                  ? configuration->toDictionary()->value(QStringLiteral("NetworkName"))
                                  : std::nullopt;
            if (name && !names.contains(name->toString())) {
                names << name->toString();
            }
        }
        return names;
    }
    static void expectFinishedWithZero(const HostRun& r) {
        EXPECT_EQ(r.exitCode, 0) << str(r.err);
        EXPECT_EQ(finishedCodes(r), std::vector<std::int64_t>({0})) << str(r.err);
        EXPECT_TRUE(r.eventsOf(QStringLiteral("automationUnplayed")).empty()) << str(r.err);
        EXPECT_FALSE(r.err.contains(QStringLiteral("programming error"))) << str(r.err);
        expectNoHandleTrouble(r);
    }
};

TEST_F(ChooserRunTest, ChoosingByTapMovesTheRowsAndProfilesTheChosenNetwork) {
    const HostRun r = runScenario(QStringLiteral("list-choose-by-tap.json"));
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 2u);
    EXPECT_EQ(rows(snapshots[0], 0), QStringList({"Harbourside"}));
    EXPECT_EQ(rows(snapshots[0], 1),
              QStringList({"Bakery Guest", "bakery-staff", "Ferry Terminal", "Studio 9", text("OTHER")}));
    EXPECT_EQ(rows(snapshots[1], 0), QStringList({"Studio 9"}));
    EXPECT_EQ(rows(snapshots[1], 1),
              QStringList({"Bakery Guest", "bakery-staff", "Ferry Terminal", "Harbourside", text("OTHER")}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Studio 9"}));
    const auto selected = field(result(r), "data").toDictionary()->value(QStringLiteral("selectedNetwork"));
    ASSERT_TRUE(selected.has_value());
    EXPECT_FALSE(selected->toDictionary()->empty());
    EXPECT_EQ(selected->toDictionary()->value(QStringLiteral("isUsingOpenSecurity"))->toBool(), true)
        << json(*selected);
}

TEST_F(ChooserRunTest, ChoosingByTypingAListedNameTakesItsRowOutOfTheList) {
    const HostRun r = runScenario(QStringLiteral("list-choose-by-typing.json"));
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 3u);
    const auto alertBefore = field(field(snapshots[0], "screen").toDictionary(), "alert").toDictionary();
    ASSERT_NE(alertBefore, nullptr);
    EXPECT_EQ(field(alertBefore, "message").toString(), text("OTHER_NETWORK_MESSAGE"));
    const auto alertTyped = field(field(snapshots[1], "screen").toDictionary(), "alert").toDictionary();
    ASSERT_NE(alertTyped, nullptr);
    EXPECT_EQ(field(field(alertTyped, "textField").toDictionary(), "text").toString(), "Bakery Guest");
    EXPECT_EQ(rows(snapshots[2], 0), QStringList({"Bakery Guest"}));
    EXPECT_EQ(rows(snapshots[2], 1),
              QStringList({"bakery-staff", "Ferry Terminal", "Harbourside", "Studio 9", text("OTHER")}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Bakery Guest"}));
}

TEST_F(ChooserRunTest, ANameOutOfRangeIsProfiledWithoutAListRow) {
    const HostRun r = runScenario(QStringLiteral("list-choose-out-of-range.json"));
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(rows(snapshots[0], 0), QStringList({"Lighthouse Guest"}));
    EXPECT_EQ(rows(snapshots[0], 1), QStringList({"Bakery Guest", "bakery-staff", "Ferry Terminal",
                                                  "Harbourside", "Studio 9", text("OTHER")}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Lighthouse Guest"}));
}

TEST_F(ChooserRunTest, ARefreshDeletesAndInsertsRowsInOneBatch) {
    const HostRun r = runScenario(QStringLiteral("list-refresh.json"));
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 2u);
    EXPECT_EQ(rows(snapshots[1], 1),
              QStringList({"Bakery Guest", "Harbour Library", "Studio 9", text("OTHER")}));
    // The refresh is the batch after the pull: the selected row replaced, two rows gone, one new.
    const auto updates = r.eventsOf(QStringLiteral("tableUpdate"));
    ASSERT_GE(updates.size(), 2u);
    const auto& refresh = updates[1];
    EXPECT_EQ(json(field(refresh, "deleted")), "[[0, 0], [1, 1], [1, 2]]");
    EXPECT_EQ(json(field(refresh, "inserted")), "[[0, 0], [1, 1]]");
    EXPECT_EQ(json(field(refresh, "rows")), "[1, 4]");
    EXPECT_EQ(requestedNetworks(r), QStringList({"Harbour Library"}));
}

TEST_F(ChooserRunTest, ARefreshWhileNotJoinedEnablesNextWithNothingSelected) {
    const HostRun r = runScenario(QStringLiteral("list-refresh-not-joined.json"));
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 2u);
    const auto before = field(snapshots[0], "screen").toDictionary();
    const auto after = field(snapshots[1], "screen").toDictionary();
    EXPECT_EQ(field(before, "barPosition"), Value::string(QStringLiteral("topAttached")));
    EXPECT_FALSE(field(field(before, "rightButton").toDictionary(), "enabled").toBool());
    EXPECT_TRUE(field(field(after, "rightButton").toDictionary(), "enabled").toBool());
    EXPECT_EQ(rows(snapshots[1], 0), QStringList());
    EXPECT_TRUE(requestedNetworks(r).isEmpty());
    // Only the device was profiled: the selected network's group never ran.
    const auto data = field(result(r), "data").toDictionary();
    EXPECT_FALSE(data->value(QStringLiteral("device"))->toDictionary()->empty());
    EXPECT_TRUE(data->value(QStringLiteral("selectedNetwork"))->toDictionary()->empty());
}

TEST_F(ChooserRunTest, TheBuiltInListChoosesANetworkAndFillsSelectedNetwork) {
    const QString script = write(QStringLiteral("choose.json"),
                                 R"([{"tapNetwork": "Casa Moreno"}, {"snapshot": true}, {"tap": "NEXT"}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    expectFinishedWithZero(r);
    EXPECT_EQ(requestedNetworks(r), QStringList({"Casa Moreno"}));
    const auto selected = field(result(r), "data").toDictionary()->value(QStringLiteral("selectedNetwork"));
    ASSERT_TRUE(selected.has_value());
    EXPECT_FALSE(selected->toDictionary()->empty());
    const auto snapshot = r.eventsOf(QStringLiteral("snapshot")).at(0);
    const auto table = field(field(snapshot, "screen").toDictionary(), "table").toDictionary();
    ASSERT_NE(table, nullptr);
    const auto sections = field(table, "sections").toArray();
    const auto header = field((*sections)[1].toDictionary(), "header").toDictionary();
    EXPECT_EQ(field(header, "text").toString(), text("CHOOSE_NETWORK"));
    EXPECT_FALSE(field(header, "spinner").toBool());
    EXPECT_TRUE(field(table, "selectionAllowed").toBool());
    EXPECT_TRUE(field(table, "hasRefreshControl").toBool());
    EXPECT_FALSE(field(table, "refreshing").toBool());
    const auto firstRow = (*field((*sections)[0].toDictionary(), "rows").toArray())[0].toDictionary();
    EXPECT_EQ(field(firstRow, "image").toString(), "check");
    EXPECT_FALSE(field(firstRow, "tappable").toBool());
    // The spinner ran while the first scan did.
    const auto spinners = r.eventsOf(QStringLiteral("spinner"));
    ASSERT_FALSE(spinners.empty());
}

TEST_F(ChooserRunTest, ScreenshotsArePngPicturesOfTheScreen) {
    const QString picture = dir.filePath(QStringLiteral("list.png"));
    const QString script =
        write(QStringLiteral("shot.json"),
              QStringLiteral(R"([{"screenshot": "%1"}, {"tap": "NEXT"}])").arg(picture).toUtf8());
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    expectFinishedWithZero(r);
    QImage image(picture);
    ASSERT_FALSE(image.isNull());
    EXPECT_GT(image.width(), 200);
    EXPECT_GT(image.height(), 300);
    ASSERT_EQ(r.eventsOf(QStringLiteral("screenshot")).size(), 1u);
}

TEST_F(ChooserRunTest, TappingANetworkThatIsNotListedStopsTheRun) {
    const QString script = write(QStringLiteral("nope.json"), R"([{"tapNetwork": "Nowhere"}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("at [0]: no network \"Nowhere\" in the list"))) << str(r.err);
}

TEST_F(ChooserRunTest, ATapOnARowThatTakesNoTapsDoesNothing) {
    const QString script =
        write(QStringLiteral("row.json"),
              R"([{"tapRow": {"section": 0, "row": 0}}, {"snapshot": true}, {"tap": "NEXT"}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    expectFinishedWithZero(r);
    const auto snapshot = r.eventsOf(QStringLiteral("snapshot")).at(0);
    EXPECT_EQ(rows(snapshot, 0), QStringList({"Willowbrook-5G"}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Willowbrook-5G"}));
    EXPECT_TRUE(field(result(r), "data")
                    .toDictionary()
                    ->value(QStringLiteral("selectedNetwork"))
                    ->toDictionary()
                    ->empty());
}

TEST_F(ChooserRunTest, TappingARowThatDoesNotExistStopsTheRun) {
    const QString script = write(QStringLiteral("row.json"), R"([{"tapRow": {"section": 1, "row": 99}}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("the table has no row 99 in section 1"))) << str(r.err);
}

TEST_F(ChooserRunTest, PullingWhileThePowerAlertShowsStopsTheRun) {
    // Wi-Fi is off: the power alert shows and there is no list to pull yet.
    const QString script = write(QStringLiteral("pull.json"), R"([{"pullToRefresh": true}])");
    const HostRun r =
        run({QStringLiteral("--list"), QStringLiteral("--scenario"),
             kScenarios + "list-power-off-decline.json", QStringLiteral("--automation"), script});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("at [0]: an alert covers the screen"))) << str(r.err);
}

TEST_F(ChooserRunTest, TypingWithoutAnAlertStopsTheRun) {
    const QString script = write(QStringLiteral("type.json"), R"([{"type": "abc"}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    EXPECT_EQ(r.exitCode, 3);
    EXPECT_TRUE(r.err.contains(QStringLiteral("no alert with a text field on the screen"))) << str(r.err);
}

TEST_F(ChooserRunTest, TypingMakesOneEditingChangePerCharacter) {
    const QString script = write(QStringLiteral("type.json"),
                                 R"([{"tap": "OTHER"}, {"type": "Ab"}, {"snapshot": true}, {"tap": "DONE"},
                                     {"snapshot": true}, {"tap": "NEXT"}])");
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 2u);
    EXPECT_EQ(rows(snapshots[1], 0), QStringList({"Ab"}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Ab"}));
    QStringList edits;
    for (const auto& e : r.eventsOf(QStringLiteral("textEdited"))) {
        edits << field(e, "text").toString();
    }
    EXPECT_EQ(edits, QStringList({"A", "Ab"}));
}

TEST_F(ChooserRunTest, AnAlertCoversTheListFromTapsAndPulls) {
    for (const QByteArray& behind :
         {QByteArray(R"({"tapNetwork": "Casa Moreno"})"),
          QByteArray(R"({"tapRow": {"section": 1, "row": 0}})"), QByteArray(R"({"pullToRefresh": true})"),
          QByteArray(R"({"tap": "NEXT"})")}) {
        const QString script =
            write(QStringLiteral("covered.json"), R"([{"tap": "OTHER"}, {"type": "Zed"}, )" + behind + "]");
        const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--automation"), script});
        EXPECT_EQ(r.exitCode, 3) << behind.constData();
        EXPECT_TRUE(r.err.contains(QStringLiteral("at [2]: an alert covers the screen; answer it first")))
            << str(r.err);
        for (const auto& request : r.eventsOf(QStringLiteral("request"))) {
            const auto id = request->value(QStringLiteral("testID"));
            EXPECT_TRUE(!id || id->toInt() == 31)
                << "no test but the scan runs: " << json(Value::dictionary(request));
        }
    }
}

TEST_F(ChooserRunTest, TappingOtherFindsItsRowBelowANetworkOfTheSameName) {
    const QByteArray scenario = R"({"status": {"ssid": "Home", "bssid": "02:00:00:00:00:01"},
        "tests": {"31": [{"result": false, "didPass": true, "info": {"ScanResults": [
            {"$record": "WiFiScanResult", "ssidString": "Home", "bssid": "02:00:00:00:00:01", "rssi": -50},
            {"$record": "WiFiScanResult", "ssidString": ")" +
                                text("OTHER").toUtf8() +
                                R"(", "bssid": "02:00:00:00:00:02", "rssi": -60}]}}]},
        "automation": [{"tap": "OTHER"}, {"snapshot": true}, {"tap": "CANCEL"}, {"tap": "NEXT"}]})";
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--scenario"),
                           write(QStringLiteral("other-named.json"), scenario)});
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_TRUE(field(snapshots[0], "screen").toDictionary()->value(QStringLiteral("alert")).has_value())
        << json(field(snapshots[0], "screen"));
    EXPECT_EQ(rows(snapshots[0], 1), QStringList({text("OTHER"), text("OTHER")}));
    EXPECT_EQ(requestedNetworks(r), QStringList({"Home"}));  // the network of that name was not chosen
}

}  // namespace

TEST_F(ChooserRunTest, ANetworkWithAnEmptyNameIsListedAndTappedByItsEmptyName) {
    // An absent name is a hidden network and never listed; an empty but present name is a row.
    const QByteArray scenario = R"({"status": {"ssid": "Home", "bssid": "02:00:00:00:00:01"},
        "tests": {"31": [{"result": false, "didPass": true, "info": {"ScanResults": [
            {"$record": "WiFiScanResult", "ssidString": "Home", "bssid": "02:00:00:00:00:01", "rssi": -50},
            {"$record": "WiFiScanResult", "bssid": "02:00:00:00:00:02", "rssi": -55},
            {"$record": "WiFiScanResult", "ssidString": "", "bssid": "02:00:00:00:00:03", "rssi": -60},
            {"$record": "WiFiScanResult", "ssidString": "Zed", "bssid": "02:00:00:00:00:04", "rssi": -70}]}}]},
        "automation": [{"tapNetwork": ""}, {"snapshot": true}, {"tap": "NEXT"}]})";
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--scenario"),
                           write(QStringLiteral("empty-name.json"), scenario)});
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(rows(snapshots[0], 0), QStringList({QString()}));
    EXPECT_EQ(rows(snapshots[0], 1),
              QStringList({QStringLiteral("Home"), QStringLiteral("Zed"), text("OTHER")}));
    EXPECT_EQ(requestedNetworks(r), QStringList({QString()}));
    const auto data = field(result(r), "data").toDictionary();
    EXPECT_FALSE(data->value(QStringLiteral("selectedNetwork"))->toDictionary()->empty());
}

TEST_F(ChooserRunTest, ANetworkPutBackIntoTheListLandsAfterTheNamesComparingEqualToIt) {
    // "Cafe" is selected, then the user taps Zoo: "Cafe" goes back into the list after "cafe",
    // which the list already showed and which compares equal to it.
    const QByteArray scenario = R"({"status": {"ssid": "Home", "bssid": "02:00:00:00:00:01"},
        "tests": {"31": [{"result": false, "didPass": true, "info": {"ScanResults": [
            {"$record": "WiFiScanResult", "ssidString": "Home", "bssid": "02:00:00:00:00:01", "rssi": -50},
            {"$record": "WiFiScanResult", "ssidString": "Zoo", "bssid": "02:00:00:00:00:02", "rssi": -55},
            {"$record": "WiFiScanResult", "ssidString": "cafe", "bssid": "02:00:00:00:00:03", "rssi": -60},
            {"$record": "WiFiScanResult", "ssidString": "Cafe", "bssid": "02:00:00:00:00:04", "rssi": -70}]}}]},
        "automation": [{"snapshot": true}, {"tapNetwork": "Cafe"}, {"snapshot": true},
                       {"tapNetwork": "Zoo"}, {"snapshot": true}, {"tap": "NEXT"}]})";
    const HostRun r = run({QStringLiteral("--list"), QStringLiteral("--scenario"),
                           write(QStringLiteral("cafe.json"), scenario)});
    expectFinishedWithZero(r);
    const auto snapshots = r.eventsOf(QStringLiteral("snapshot"));
    ASSERT_EQ(snapshots.size(), 3u);
    // A fresh list puts names that compare equal in the order of their characters.
    EXPECT_EQ(rows(snapshots[0], 1), QStringList({"Cafe", "cafe", "Zoo", text("OTHER")}));
    EXPECT_EQ(rows(snapshots[1], 0), QStringList({"Cafe"}));
    EXPECT_EQ(rows(snapshots[1], 1), QStringList({"cafe", "Home", "Zoo", text("OTHER")}));
    EXPECT_EQ(rows(snapshots[2], 0), QStringList({"Zoo"}));
    EXPECT_EQ(rows(snapshots[2], 1), QStringList({"cafe", "Cafe", "Home", text("OTHER")}));
    // The tap on Zoo: one batch replaces the selected row and deletes Zoo's row (row 2), the next
    // inserts "Cafe" at its place after "cafe".
    const auto updates = r.eventsOf(QStringLiteral("tableUpdate"));
    ASSERT_GE(updates.size(), 2u);
    const auto& deletion = updates[updates.size() - 2];
    const auto& insertion = updates.back();
    EXPECT_EQ(json(field(deletion, "deleted")), "[[0, 0], [1, 2]]");
    EXPECT_EQ(json(field(deletion, "inserted")), "[[0, 0]]");
    EXPECT_EQ(json(field(insertion, "deleted")), "[]");
    EXPECT_EQ(json(field(insertion, "inserted")), "[[1, 1]]");
    EXPECT_EQ(json(field(insertion, "rows")), "[1, 4]");
    EXPECT_EQ(requestedNetworks(r), QStringList({"Zoo"}));
}
