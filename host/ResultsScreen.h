#pragma once
// The results screen of --ui: once the diagnostic's own screens are done, the host shows what the
// run found, in the toolkit's touch style. A navigation bar with the title and "Close"; under it
// a grouped table: the verdict with its sentence (and "Save report" when no --report was given, or
// where the report went), then one section per group of the findings: a row per problem, warning
// and test not checked, with what was measured and what to try, and one row for the checks that
// found nothing, naming them. Every word comes from the report's strings table.
//
// "Save report" asks where in an alert with a text field (empty: wifi-profile-report.html in the
// working directory) and says in a second alert where the report went or why it could not.

#include "host/AutomationPlayer.h"
#include "host/report/Findings.h"
#include "host/report/Profile.h"

#include "platform/ui/Toolkit.h"

#include <QObject>
#include <QPointer>
#include <QSize>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace host {

class ResultsScreen : public QObject,
                      public AutomationScreen,
                      public platform::ui::TableViewDataSource,
                      public platform::ui::TableViewDelegate,
                      public platform::ui::NavigationBarDelegate {
    Q_OBJECT
  public:
    // Where the report goes when the person names no file.
    static const QString kDefaultReportPath;

    struct Options {
        QSize size{375, 667};
        // --report: the file the run's report went to; the screen names it and offers no saving.
        std::optional<QString> reportWritten;
        // --redact: a report saved from the screen is redacted as the run's own would be.
        bool redact = false;
        // The simulated device was profiled because this machine's Wi-Fi could not be: the screen
        // says so above all.
        bool simulatedInstead = false;
    };

    // How the screen was closed, for closed: its "Close" button ("button"), its window
    // ("window"), or whatever the host says.
    using Closed = std::function<void(const QString& by)>;
    // The screen for the run's profile; closed runs once, back in the event loop after the screen
    // was closed (the tap that closed it is over by then).
    ResultsScreen(report::Profile profile, Options options, Closed closed);
    ~ResultsScreen() override;
    ResultsScreen(const ResultsScreen&) = delete;
    ResultsScreen& operator=(const ResultsScreen&) = delete;

    const report::Findings& findings() const { return findings_; }
    // Shows the screen's window.
    void show();
    // What "Close" does; the first close counts.
    void close(const QString& by = QStringLiteral("button"));
    bool isShown() const override { return closed_ != nullptr; }

    // As automation sees it. The keys: CLOSE (the bar button), SAVE_REPORT (the row), and the
    // alerts' SAVE, CANCEL and OK.
    QString name() const override;
    platform::ui::View* view() override { return root_; }
    std::shared_ptr<platform::ui::AlertController> presentedAlert() const override { return presented_; }
    QString textForKey(const QString& key) const override;
    QStringList keys() const override;

    // The table.
    long numberOfSectionsInTableView(platform::ui::TableView* table) override;
    long tableViewNumberOfRowsInSection(platform::ui::TableView* table, long section) override;
    platform::ui::TableViewCell* tableViewCellForRowAtIndexPath(platform::ui::TableView* table,
                                                                platform::ui::IndexPath indexPath) override;
    double tableViewHeightForRowAtIndexPath(platform::ui::TableView* table,
                                            platform::ui::IndexPath indexPath) override;
    double tableViewHeightForHeaderInSection(platform::ui::TableView* table, long section) override;
    double tableViewHeightForFooterInSection(platform::ui::TableView* table, long section) override;
    platform::ui::View* tableViewViewForHeaderInSection(platform::ui::TableView* table,
                                                        long section) override;
    void tableViewDidSelectRowAtIndexPath(platform::ui::TableView* table,
                                          platform::ui::IndexPath indexPath) override;
    platform::ui::BarPosition positionForBar(platform::ui::NavigationBar* bar) override;

  protected:
    // Closing the window is closing the screen.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    // One row of the table, as its cell shows it.
    struct Row {
        enum class Kind { Verdict, SaveReport, ReportWritten, Finding, Fine };
        Kind kind = Kind::Finding;
        QString text;
        QString detail;
        // The dot's name: a severity ("problem", "warning", "fine", "notChecked"), or "spacer".
        QString image;
    };
    struct Section {
        QString header;  // empty: none
        std::vector<Row> rows;
    };

    void build();
    void buildRows();
    void fillCell(platform::ui::TableViewCell* cell, const Row& row) const;
    const Row* rowAt(platform::ui::IndexPath indexPath) const;
    void present(std::shared_ptr<platform::ui::AlertController> alert);
    void askWhereToSave();
    void save(const QString& typed);
    void tell(const QString& title, const QString& message);

    report::Profile profile_;
    report::Findings findings_;
    Options options_;
    Closed closed_;

    std::vector<Section> sections_;
    QPointer<platform::ui::View> root_;
    QObject* watchedWindow_ = nullptr;  // root_ as the event filter sees it, compared without a cast
    platform::ui::NavigationBar* bar_ = nullptr;
    std::shared_ptr<platform::ui::NavigationItem> item_;
    platform::ui::TableView* table_ = nullptr;
    std::vector<QPointer<platform::ui::View>> headers_;  // per section; kept here, shown by the table
    std::shared_ptr<platform::ui::AlertController> presented_;
    // Measures rows: a cell as the table makes them, never shown.
    std::unique_ptr<platform::ui::TableViewCell> measure_;
};

}  // namespace host
