// The results screen in process, off screen: for the shipped runs' profiles, the verdict and every
// finding that needs attention with what to try, the checks that found nothing in one row per
// group; rows tall enough for every line; closing by button and by window; saving the report
// through its alerts (named, default, unwritable, cancelled, redacted) or naming the one --report
// wrote.

#include "ReportProfiles.h"

#include "host/ResultsScreen.h"
#include "host/report/HtmlReport.h"
#include "host/report/Redaction.h"
#include "host/report/Strings.h"

#include "platform/foundation/Json.h"
#include "platform/foundation/JsonReader.h"
#include "platform/ui/Toolkit.h"

#include "unittests/support/MainLoop.h"

#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using host::ResultsScreen;
using platform::DictionaryRef;
using platform::Value;
namespace ui = platform::ui;

std::string str(const QString& s) {
    return s.toStdString();
}

QString t(const char* key, const QStringList& args = {}) {
    return report::text(QString::fromLatin1(key), args);
}

QString stringOf(const DictionaryRef& d, const char* key) {
    const auto v = d ? d->value(QString::fromLatin1(key)) : std::nullopt;
    return v && v->isString() ? v->toString() : QString();
}

// A profile of a run that ran no test: Wi-Fi was off and the person declined to switch it on.
report::Profile declinedProfile() {
    report::Profile profile;
    profile.result = platform::parseJson(R"({"statusCode": -4, "data": {}})");
    return profile;
}

struct Shown {
    QString header;  // empty for the verdict's section
    std::vector<DictionaryRef> rows;
};

// The screen's table as its snapshot has it.
std::vector<Shown> tableOf(ResultsScreen& screen) {
    std::vector<Shown> out;
    const auto described = ui::describeScreen(screen.view(), screen.presentedAlert().get());
    const auto table = described->value(QStringLiteral("table"));
    EXPECT_TRUE(table.has_value());
    if (!table) {
        return out;
    }
    for (const Value& s : *table->toDictionary()->value(QStringLiteral("sections"))->toArray()) {
        Shown shown;
        const auto header = s.toDictionary()->value(QStringLiteral("header"));
        if (header && header->kind() == Value::Kind::Dictionary) {
            shown.header = stringOf(header->toDictionary(), "text");
        }
        for (const Value& row : *s.toDictionary()->value(QStringLiteral("rows"))->toArray()) {
            shown.rows.push_back(row.toDictionary());
        }
        out.push_back(std::move(shown));
    }
    return out;
}

ui::TableView* tableIn(ResultsScreen& screen) {
    return screen.view()->findChild<ui::TableView*>();
}

// The index of the presented alert's button with the title, or -1.
int buttonOf(const ui::AlertController& alert, const QString& title) {
    for (std::size_t i = 0; i < alert.actions().size(); ++i) {
        if (alert.actions()[i]->title() == title) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

int rank(report::Severity severity) {
    switch (severity) {
        case report::Severity::Problem:
            return 0;
        case report::Severity::Warning:
            return 1;
        case report::Severity::NotChecked:
            return 2;
        case report::Severity::Fine:
            break;
    }
    return 3;
}

QString imageOf(report::Severity severity) {
    switch (severity) {
        case report::Severity::Problem:
            return QStringLiteral("problem");
        case report::Severity::Warning:
            return QStringLiteral("warning");
        case report::Severity::NotChecked:
            return QStringLiteral("notChecked");
        case report::Severity::Fine:
            break;
    }
    return QStringLiteral("fine");
}

class ResultsScreenTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        errorsAtStart = ui::programmingErrorCount();
    }
    void TearDown() override {
        screen.reset();
        testsupport::runMainLoopUntilIdle();
        EXPECT_EQ(ui::programmingErrorCount(), errorsAtStart);
    }

    ResultsScreen& make(const report::Profile& profile, ResultsScreen::Options options = {}) {
        screen = std::make_unique<ResultsScreen>(profile, std::move(options),
                                                 [this](const QString& by) { closedBy.push_back(by); });
        screen->show();
        return *screen;
    }

    // Taps "Save report" and answers the alert with typed (nothing typed: the default file).
    void saveAs(const QString& typed) {
        ui::TableView* table = tableIn(*screen);
        ASSERT_TRUE(table->tapRowAtIndexPath(ui::IndexPath::forRow(1, 0)));
        const auto alert = screen->presentedAlert();
        ASSERT_TRUE(alert);
        EXPECT_EQ(str(alert->title()), str(t("results.saveTitle")));
        EXPECT_EQ(str(alert->message()), str(t("results.saveMessage", {ResultsScreen::kDefaultReportPath})));
        ASSERT_EQ(alert->textFields().size(), 1u);
        EXPECT_EQ(str(alert->textFields().front()->placeholder), str(ResultsScreen::kDefaultReportPath));
        if (!typed.isEmpty()) {
            ASSERT_TRUE(alert->typeText(typed));
        }
        const int save = buttonOf(*alert, t("results.save"));
        ASSERT_GE(save, 0);
        ASSERT_TRUE(alert->tapAction(static_cast<std::size_t>(save)));
    }

    QTemporaryDir dir;
    std::unique_ptr<ResultsScreen> screen;
    std::vector<QString> closedBy;
    int errorsAtStart = 0;
};

class ResultsOfGoldenRuns : public ResultsScreenTest,
                            public ::testing::WithParamInterface<reporttest::GoldenCase> {};

TEST_P(ResultsOfGoldenRuns, TheVerdictThenEveryFindingThatNeedsAttentionWithWhatToTry) {
    const report::Profile profile = reporttest::goldenProfile(GetParam());
    ResultsScreen& s = make(profile);
    const report::Findings findings = report::findingsOf(profile);

    const auto described = ui::describeScreen(s.view(), nullptr);
    EXPECT_EQ(str(stringOf(described, "title")), str(t("results.title")));
    const auto button = described->value(QStringLiteral("rightButton"))->toDictionary();
    EXPECT_EQ(str(stringOf(button, "title")), str(t("results.close")));
    EXPECT_TRUE(button->value(QStringLiteral("enabled"))->toBool());

    const std::vector<Shown> table = tableOf(s);
    ASSERT_GE(table.size(), 2u);
    ASSERT_EQ(table[0].rows.size(), 2u);
    EXPECT_TRUE(table[0].header.isEmpty());
    EXPECT_EQ(str(stringOf(table[0].rows[0], "text")), str(report::verdictName(findings.verdict)));
    EXPECT_EQ(str(stringOf(table[0].rows[0], "detail")), str(report::verdictSentence(findings.verdict)));
    EXPECT_EQ(str(stringOf(table[0].rows[1], "text")), str(t("results.saveReport")));
    EXPECT_TRUE(table[0].rows[1]->value(QStringLiteral("tappable"))->toBool());

    // One section per group that has findings, in the groups' order, each as its findings say.
    std::size_t next = 1;
    std::size_t attentionRows = 0;
    for (const report::Group group :
         {report::Group::Device, report::Group::CurrentNetwork, report::Group::SelectedNetwork}) {
        std::vector<const report::Finding*> attention;
        QStringList fine;
        for (const report::Finding& f : findings.items) {
            if (f.group != group) {
                continue;
            }
            if (f.severity == report::Severity::Fine) {
                fine << f.title;
            } else {
                attention.push_back(&f);
            }
        }
        if (attention.empty() && fine.isEmpty()) {
            continue;
        }
        ASSERT_LT(next, table.size()) << str(report::groupName(group));
        const Shown& section = table[next++];
        EXPECT_EQ(str(section.header), str(report::groupName(group).toUpper()));
        ASSERT_EQ(section.rows.size(), attention.size() + (fine.isEmpty() ? 0 : 1))
            << str(report::groupName(group));
        std::stable_sort(attention.begin(), attention.end(),
                         [](const auto* a, const auto* b) { return rank(a->severity) < rank(b->severity); });
        for (std::size_t i = 0; i < attention.size(); ++i) {
            const report::Finding& f = *attention[i];
            const DictionaryRef& row = section.rows[i];
            EXPECT_EQ(str(stringOf(row, "text")), str(f.title));
            EXPECT_EQ(str(stringOf(row, "image")), str(imageOf(f.severity)));
            EXPECT_FALSE(row->value(QStringLiteral("tappable"))->toBool());
            const QString detail = stringOf(row, "detail");
            EXPECT_TRUE(detail.startsWith(report::severityName(f.severity))) << str(detail);
            if (!f.value.isEmpty()) {
                EXPECT_TRUE(detail.contains(f.value)) << str(f.key) << ": " << str(detail);
            }
            const QString then = f.severity == report::Severity::NotChecked ? f.reason : f.advice;
            EXPECT_TRUE(detail.endsWith(QLatin1Char('\n') + (then.isEmpty() ? f.meaning : then)))
                << str(f.key) << ": " << str(detail);
            ++attentionRows;
        }
        if (!fine.isEmpty()) {
            const DictionaryRef& row = section.rows.back();
            EXPECT_EQ(str(stringOf(row, "text")),
                      str(fine.size() == 1 ? t("results.fineOne")
                                           : t("results.fineMany", {QString::number(fine.size())})));
            EXPECT_EQ(str(stringOf(row, "detail")), str(fine.join(t("value.listSeparator"))));
            EXPECT_EQ(str(stringOf(row, "image")), "fine");
        }
    }
    EXPECT_EQ(next, table.size());
    EXPECT_EQ(attentionRows,
              findings.items.size() - static_cast<std::size_t>(findings.count(report::Severity::Fine)));
}

TEST_P(ResultsOfGoldenRuns, EveryRowIsTallEnoughForAllItsLinesAndScrollsIntoView) {
    ResultsScreen& s = make(reporttest::goldenProfile(GetParam()));
    ui::TableView* table = tableIn(s);
    ASSERT_NE(table, nullptr);
    const std::vector<Shown> shown = tableOf(s);
    for (long section = 0; section < table->numberOfSections(); ++section) {
        for (long row = 0; row < table->numberOfRowsInSection(section); ++row) {
            table->scrollToRowAtIndexPath(ui::IndexPath::forRow(row, section),
                                          ui::TableViewScrollPosition::None, false);
            const QString text = stringOf(
                shown[static_cast<std::size_t>(section)].rows[static_cast<std::size_t>(row)], "text");
            ui::TableViewCell* cell = nullptr;
            for (ui::TableViewCell* c : table->visibleCells()) {
                if (c->textLabel()->text() == text) {
                    cell = c;
                }
            }
            ASSERT_NE(cell, nullptr) << str(text);
            // Whole inside the table below the bar, every line of text and detail inside the cell.
            EXPECT_GE(cell->y(), static_cast<int>(table->contentInset().top) - 1) << str(text);
            EXPECT_LE(cell->y() + cell->height(), table->height() + 1) << str(text);
            for (const ui::Label* label : {cell->textLabel(), cell->detailTextLabel()}) {
                if (label->text().isEmpty()) {
                    continue;
                }
                EXPECT_GE(label->height(), label->heightForWidth(label->width())) << str(label->text());
                EXPECT_LE(label->y() + label->height(), cell->height()) << str(label->text());
                EXPECT_GE(label->y(), 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ShippedRuns, ResultsOfGoldenRuns, ::testing::ValuesIn(reporttest::kGoldenCases),
                         [](const auto& info) {
                             QString name = QString::fromLatin1(info.param.name);
                             name.remove(QLatin1Char('-'));
                             return name.toStdString();
                         });

TEST_F(ResultsScreenTest, ARunThatRanNoTestListsEveryTestAsNotCheckedWithTheReason) {
    const report::Profile profile = declinedProfile();
    const report::Findings findings = report::findingsOf(profile);
    ASSERT_EQ(findings.verdict, report::Verdict::Incomplete);
    ResultsScreen& s = make(profile);
    const std::vector<Shown> table = tableOf(s);
    ASSERT_GE(table.size(), 2u);
    EXPECT_EQ(str(stringOf(table[0].rows[0], "text")), str(t("verdict.incomplete")));
    EXPECT_EQ(str(stringOf(table[0].rows[0], "image")), "notChecked");
    std::size_t notChecked = 0;
    for (std::size_t i = 1; i < table.size(); ++i) {
        for (const DictionaryRef& row : table[i].rows) {
            EXPECT_EQ(str(stringOf(row, "image")), "notChecked");
            EXPECT_EQ(str(stringOf(row, "detail")),
                      str(t("severity.notChecked") + QLatin1Char('\n') + t("status.powerDeclined")));
            ++notChecked;
        }
    }
    EXPECT_EQ(notChecked, static_cast<std::size_t>(findings.count(report::Severity::NotChecked)));
    EXPECT_GT(notChecked, 10u);
}

TEST_F(ResultsScreenTest, CloseIsToldOnceBackInTheEventLoop) {
    ResultsScreen& s = make(declinedProfile());
    const auto* bar = ui::NavigationBar::findIn(s.view());
    ASSERT_NE(bar, nullptr);
    const auto close = bar->topItem()->rightBarButtonItem();
    ASSERT_TRUE(close);
    EXPECT_EQ(close->style(), ui::BarButtonItem::Style::Done);
    ASSERT_TRUE(close->tap());
    EXPECT_TRUE(closedBy.empty());  // the tap is over before the run hears of it
    EXPECT_FALSE(s.isShown());
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return !closedBy.empty(); }));
    EXPECT_TRUE(close->tap());
    s.close(QStringLiteral("script"));
    testsupport::runMainLoopUntilIdle();
    EXPECT_EQ(closedBy, std::vector<QString>{QStringLiteral("button")});
}

TEST_F(ResultsScreenTest, ClosingTheWindowClosesTheScreenAndTheWindowStaysUntilTheRunEnds) {
    ResultsScreen& s = make(declinedProfile());
    ASSERT_TRUE(s.view()->isVisible());
    EXPECT_FALSE(s.view()->close());
    EXPECT_TRUE(s.view()->isVisible());
    ASSERT_TRUE(testsupport::runMainLoopUntil([&] { return !closedBy.empty(); }));
    EXPECT_EQ(closedBy, std::vector<QString>{QStringLiteral("window")});
}

TEST_F(ResultsScreenTest, SaveReportAsksWhereWritesTheReportThereAndSaysWhere) {
    const report::Profile profile = reporttest::goldenProfile(reporttest::kGoldenCases[2]);
    make(profile);
    const QString path = dir.filePath(QStringLiteral("for-the-ticket.html"));
    saveAs(path);
    ASSERT_TRUE(QFileInfo::exists(path));
    EXPECT_EQ(reporttest::readFile(path), report::htmlReport(profile, report::findingsOf(profile)));
    const auto told = screen->presentedAlert();
    ASSERT_TRUE(told);
    EXPECT_EQ(str(told->title()), str(t("results.savedTitle")));
    EXPECT_EQ(str(told->message()), str(t("results.savedMessage", {QFileInfo(path).absoluteFilePath()})));
    const int ok = buttonOf(*told, t("results.ok"));
    ASSERT_GE(ok, 0);
    ASSERT_TRUE(told->tapAction(static_cast<std::size_t>(ok)));
    EXPECT_FALSE(screen->presentedAlert());
    EXPECT_TRUE(closedBy.empty());
}

TEST_F(ResultsScreenTest, AnEmptyFieldSavesTheDefaultFileInTheWorkingDirectory) {
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    make(reporttest::goldenProfile(reporttest::kGoldenCases[0]));
    saveAs(QString());
    const QString expected = dir.filePath(ResultsScreen::kDefaultReportPath);
    EXPECT_TRUE(QFileInfo::exists(expected));
    const auto told = screen->presentedAlert();
    ASSERT_TRUE(told);
    EXPECT_EQ(str(told->message()), str(t("results.savedMessage", {QFileInfo(expected).absoluteFilePath()})));
    QDir::setCurrent(before);
}

TEST_F(ResultsScreenTest, AReportThatCannotBeWrittenIsSaidSo) {
    make(reporttest::goldenProfile(reporttest::kGoldenCases[0]));
    const QString path = dir.filePath(QStringLiteral("no/such/folder/report.html"));
    saveAs(path);
    EXPECT_FALSE(QFileInfo::exists(path));
    const auto told = screen->presentedAlert();
    ASSERT_TRUE(told);
    EXPECT_EQ(str(told->title()), str(t("results.saveFailedTitle")));
    EXPECT_TRUE(told->message().contains(path)) << str(told->message());
}

TEST_F(ResultsScreenTest, CancelWritesNothing) {
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    make(reporttest::goldenProfile(reporttest::kGoldenCases[0]));
    ASSERT_TRUE(tableIn(*screen)->tapRowAtIndexPath(ui::IndexPath::forRow(1, 0)));
    const auto alert = screen->presentedAlert();
    ASSERT_TRUE(alert);
    const int cancel = buttonOf(*alert, t("results.cancel"));
    ASSERT_GE(cancel, 0);
    EXPECT_EQ(alert->actions()[static_cast<std::size_t>(cancel)]->style(), ui::AlertAction::Style::Cancel);
    ASSERT_TRUE(alert->tapAction(static_cast<std::size_t>(cancel)));
    EXPECT_FALSE(screen->presentedAlert());
    EXPECT_TRUE(QDir(dir.path()).entryList(QDir::Files).isEmpty());
    QDir::setCurrent(before);
}

TEST_F(ResultsScreenTest, WithRedactTheSavedReportIsTheRedactedOne) {
    const report::Profile profile = reporttest::goldenProfile(reporttest::kGoldenCases[0]);
    ResultsScreen::Options options;
    options.redact = true;
    make(profile, options);
    const QString path = dir.filePath(QStringLiteral("shared.html"));
    saveAs(path);
    const QByteArray saved = reporttest::readFile(path);
    const report::Profile shared = report::redacted(profile);
    EXPECT_EQ(saved, report::htmlReport(shared, report::findingsOf(shared)));
    // The profile has BSSIDs to leave out, and the saved report has none.
    static const QRegularExpression bssid(QStringLiteral("[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}"));
    ASSERT_TRUE(QString::fromUtf8(report::htmlReport(profile, report::findingsOf(profile))).contains(bssid));
    EXPECT_FALSE(QString::fromUtf8(saved).contains(bssid));
}

TEST_F(ResultsScreenTest, WithAReportWrittenTheScreenNamesItAndOffersNoSaving) {
    ResultsScreen::Options options;
    options.reportWritten = QStringLiteral("reports/today.html");
    ResultsScreen& s = make(reporttest::goldenProfile(reporttest::kGoldenCases[0]), options);
    const std::vector<Shown> table = tableOf(s);
    ASSERT_EQ(table[0].rows.size(), 2u);
    EXPECT_EQ(str(stringOf(table[0].rows[1], "text")), str(t("results.reportWritten")));
    EXPECT_EQ(str(stringOf(table[0].rows[1], "detail")), "reports/today.html");
    EXPECT_FALSE(table[0].rows[1]->value(QStringLiteral("tappable"))->toBool());
    EXPECT_FALSE(tableIn(s)->tapRowAtIndexPath(ui::IndexPath::forRow(1, 0)));
    EXPECT_FALSE(s.presentedAlert());
    for (const Shown& section : table) {
        for (const DictionaryRef& row : section.rows) {
            EXPECT_NE(str(stringOf(row, "text")), str(t("results.saveReport")));
        }
    }
}

TEST_F(ResultsScreenTest, AutomationKeysNameTheScreensButtons) {
    ResultsScreen& s = make(declinedProfile());
    EXPECT_EQ(str(s.textForKey(QStringLiteral("CLOSE"))), str(t("results.close")));
    EXPECT_EQ(str(s.textForKey(QStringLiteral("SAVE_REPORT"))), str(t("results.saveReport")));
    EXPECT_EQ(str(s.textForKey(QStringLiteral("SAVE"))), str(t("results.save")));
    EXPECT_EQ(str(s.textForKey(QStringLiteral("CANCEL"))), str(t("results.cancel")));
    EXPECT_EQ(str(s.textForKey(QStringLiteral("OK"))), str(t("results.ok")));
    EXPECT_TRUE(s.textForKey(QStringLiteral("NEXT")).isEmpty());
    EXPECT_EQ(str(s.keys().join(QStringLiteral(", "))), "CANCEL, CLOSE, OK, SAVE, SAVE_REPORT");
}

}  // namespace
