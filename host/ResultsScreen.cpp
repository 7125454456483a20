#include "host/ResultsScreen.h"

#include "host/report/HtmlReport.h"
#include "host/report/Redaction.h"
#include "host/report/Strings.h"

#include <QEvent>
#include <QFileInfo>
#include <QPainter>
#include <QSaveFile>
#include <QTimer>

#include <map>

namespace host {

namespace ui = platform::ui;

const QString ResultsScreen::kDefaultReportPath = QStringLiteral("wifi-profile-report.html");

namespace {

// As the diagnostic's own screens: the bar 20 points down, below the status bar.
constexpr double kBarDrop = 20.0;
constexpr double kStatusBarHeight = 20.0;
constexpr double kHeaderHeight = 33.0;
constexpr double kCaptionFontSize = 13.0;
constexpr double kCaptionGrey = 0.4;
constexpr double kCaptionTop = 10.0;
constexpr double kCaptionInset = 15.0;
constexpr double kTextFontSize = 16.0;
constexpr double kVerdictFontSize = 22.0;
constexpr double kDetailFontSize = 13.0;
constexpr int kDotSize = 12;
const QString kCellIdentifier = QStringLiteral("result");

// The automation keys and the strings-table keys of their titles.
const std::map<QString, QString>& automationKeys() {
    static const std::map<QString, QString> keys = {
        {QStringLiteral("CLOSE"), QStringLiteral("results.close")},
        {QStringLiteral("SAVE_REPORT"), QStringLiteral("results.saveReport")},
        {QStringLiteral("SAVE"), QStringLiteral("results.save")},
        {QStringLiteral("CANCEL"), QStringLiteral("results.cancel")},
        {QStringLiteral("OK"), QStringLiteral("results.ok")},
    };
    return keys;
}

QString dotName(report::Severity severity) {
    switch (severity) {
        case report::Severity::Problem:
            return QStringLiteral("problem");
        case report::Severity::Warning:
            return QStringLiteral("warning");
        case report::Severity::Fine:
            return QStringLiteral("fine");
        case report::Severity::NotChecked:
            break;
    }
    return QStringLiteral("notChecked");
}

// The verdict's dot: the colour of the worst it stands for.
report::Severity verdictSeverity(report::Verdict verdict) {
    switch (verdict) {
        case report::Verdict::Good:
            return report::Severity::Fine;
        case report::Verdict::Degraded:
            return report::Severity::Warning;
        case report::Verdict::NotWorking:
            return report::Severity::Problem;
        case report::Verdict::Incomplete:
            break;
    }
    return report::Severity::NotChecked;
}

// A round dot in the severity's colour, named after it, so snapshots say which it is; "spacer" is
// as large and clear, lining a row without a dot up with those with one.
ui::ImageRef dot(const QString& name) {
    static std::map<QString, ui::ImageRef> made;
    if (const auto found = made.find(name); found != made.end()) {
        return found->second;
    }
    static const std::map<QString, QColor> colours = {
        {QStringLiteral("problem"), QColor(255, 59, 48)},
        {QStringLiteral("warning"), QColor(255, 149, 0)},
        {QStringLiteral("fine"), QColor(52, 199, 89)},
        {QStringLiteral("notChecked"), QColor(142, 142, 147)},
    };
    QImage pixels(kDotSize, kDotSize, QImage::Format_ARGB32_Premultiplied);
    pixels.fill(Qt::transparent);
    QPainter painter(&pixels);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const auto colour = colours.find(name);
    painter.setBrush(colour != colours.end() ? colour->second : QColor(Qt::transparent));
    painter.drawEllipse(QRectF(0.5, 0.5, kDotSize - 1.0, kDotSize - 1.0));
    painter.end();
    auto image = std::make_shared<const ui::Image>(name, pixels);
    made.emplace(name, image);
    return image;
}

// A section's caption, grey and in capitals as the diagnostic's are, lined up with the cells' text.
class CaptionView : public ui::View {
  public:
    explicit CaptionView(const QString& text) {
        setBackgroundClear();
        caption_ = new ui::Label(this);
        caption_->setSystemFontSize(kCaptionFontSize);
        caption_->setTextColor(QColor::fromRgbF(kCaptionGrey, kCaptionGrey, kCaptionGrey, 1.0));
        caption_->setBackgroundClear();
        caption_->setText(text.toUpper());
    }
    void layoutSubviews() override {
        const double inset = ui::TableView::kGroupedBackgroundInset + kCaptionInset;
        ui::sizeToFit(caption_);
        ui::setFrame(caption_, QRectF(inset, kCaptionTop, std::max(0.0, width() - 2.0 * inset),
                                      ui::frame(caption_).height()));
    }

  private:
    ui::Label* caption_ = nullptr;
};

}  // namespace

ResultsScreen::ResultsScreen(report::Profile profile, Options options, Closed closed)
    : profile_(std::move(profile)),
      findings_(report::findingsOf(profile_)),
      options_(std::move(options)),
      closed_(std::move(closed)) {
    buildRows();
    build();
}

ResultsScreen::~ResultsScreen() {
    presented_.reset();
    // The window is being taken down: it is no longer watched (a View half destroyed is no View).
    if (root_) {
        root_->removeEventFilter(this);
    }
    watchedWindow_ = nullptr;
    if (table_) {
        table_->setDataSource(nullptr);
        table_->setDelegate(nullptr);
    }
    delete root_.data();
    for (const auto& header : headers_) {
        delete header.data();
    }
}

QString ResultsScreen::name() const {
    return QStringLiteral("the results screen");
}

void ResultsScreen::buildRows() {
    Section top;
    top.rows.push_back(Row{Row::Kind::Verdict, report::verdictName(findings_.verdict),
                           report::verdictSentence(findings_.verdict),
                           dotName(verdictSeverity(findings_.verdict))});
    if (options_.simulatedInstead) {
        top.rows.insert(top.rows.begin(),
                        Row{Row::Kind::Finding, report::text(QStringLiteral("results.simulatedTitle")),
                            report::text(QStringLiteral("results.simulatedMessage")),
                            dotName(report::Severity::NotChecked)});
    }
    if (options_.reportWritten) {
        top.rows.push_back(Row{Row::Kind::ReportWritten,
                               report::text(QStringLiteral("results.reportWritten")), *options_.reportWritten,
                               QStringLiteral("spacer")});
    } else {
        top.rows.push_back(Row{Row::Kind::SaveReport, report::text(QStringLiteral("results.saveReport")),
                               QString(), QStringLiteral("spacer")});
    }
    sections_.push_back(std::move(top));

    for (const report::Group group :
         {report::Group::Device, report::Group::CurrentNetwork, report::Group::SelectedNetwork}) {
        Section section;
        section.header = report::groupName(group);
        // What needs attention first, the worst first; each in the table's order.
        for (const report::Severity severity :
             {report::Severity::Problem, report::Severity::Warning, report::Severity::NotChecked}) {
            for (const report::Finding& f : findings_.items) {
                if (f.group != group || f.severity != severity) {
                    continue;
                }
                const QString state = f.value.isEmpty()
                                          ? report::severityName(severity)
                                          : report::text(QStringLiteral("results.severityValue"),
                                                         {report::severityName(severity), f.value});
                QString then = severity == report::Severity::NotChecked ? f.reason : f.advice;
                if (then.isEmpty()) {
                    then = f.meaning;
                }
                section.rows.push_back(Row{Row::Kind::Finding, f.title,
                                           then.isEmpty() ? state : state + QLatin1Char('\n') + then,
                                           dotName(severity)});
            }
        }
        QStringList fine;
        for (const report::Finding& f : findings_.items) {
            if (f.group == group && f.severity == report::Severity::Fine) {
                fine << f.title;
            }
        }
        if (!fine.isEmpty()) {
            const QString count = fine.size() == 1 ? report::text(QStringLiteral("results.fineOne"))
                                                   : report::text(QStringLiteral("results.fineMany"),
                                                                  {QString::number(fine.size())});
            section.rows.push_back(Row{Row::Kind::Fine, count,
                                       fine.join(report::text(QStringLiteral("value.listSeparator"))),
                                       dotName(report::Severity::Fine)});
        }
        if (!section.rows.empty()) {
            sections_.push_back(std::move(section));
        }
    }
}

void ResultsScreen::build() {
    root_ = new ui::View;
    root_->resize(options_.size);
    root_->setBackgroundWhite();
    root_->setWindowTitle(options_.simulatedInstead
                              ? report::text(QStringLiteral("window.simulatedTitle"),
                                             {report::text(QStringLiteral("results.title"))})
                              : report::text(QStringLiteral("results.title")));
    root_->installEventFilter(this);
    watchedWindow_ = root_.data();

    bar_ = new ui::NavigationBar(root_);
    bar_->moveCentreBy(kBarDrop);
    bar_->setDelegate(this);
    item_ = std::make_shared<ui::NavigationItem>(report::text(QStringLiteral("results.title")));
    item_->setRightBarButtonItem(std::make_shared<ui::BarButtonItem>(
        report::text(QStringLiteral("results.close")), ui::BarButtonItem::Style::Done, [this] { close(); }));
    bar_->setItems({item_});
    root_->addSubview(bar_);

    measure_ = std::make_unique<ui::TableViewCell>(ui::TableViewCellStyle::Subtitle, kCellIdentifier);
    for (const Section& section : sections_) {
        headers_.emplace_back(section.header.isEmpty() ? nullptr : new CaptionView(section.header));
    }

    table_ = new ui::TableView(ui::bounds(root_).toRect(), ui::TableViewStyle::Grouped, root_);
    const double top = ui::frame(bar_).height() + kStatusBarHeight;
    table_->setContentInset({top, 0.0, 0.0, 0.0});
    table_->setScrollIndicatorInsets({top, 0.0, 0.0, 0.0});
    table_->registerCellFactory(
        [](const QString& id) { return new ui::TableViewCell(ui::TableViewCellStyle::Subtitle, id); },
        kCellIdentifier);
    table_->setDelegate(this);
    table_->setDataSource(this);
    table_->setAutoresizingFlexibleSize(true, true);
    root_->addSubview(table_);
    ui::bringSubviewToFront(bar_);
}

void ResultsScreen::show() {
    root_->show();
}

void ResultsScreen::close(const QString& by) {
    if (!closed_) {
        return;
    }
    // Told once the tap that closes is over, so that whatever tapped sees its tap done first.
    QTimer::singleShot(0, this, [closed = std::move(closed_), by] { closed(by); });
    closed_ = nullptr;
}

bool ResultsScreen::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Close && watched == watchedWindow_ && isShown()) {
        // The window stays until the run ends, which it now does: Qt would otherwise end the
        // event loop on its own as the last window goes, before the run is concluded. Once closed,
        // the window goes when asked (as the application does when it quits).
        close(QStringLiteral("window"));
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

QString ResultsScreen::textForKey(const QString& key) const {
    const auto found = automationKeys().find(key);
    return found == automationKeys().end() ? QString() : report::text(found->second);
}

QStringList ResultsScreen::keys() const {
    QStringList names;
    for (const auto& [key, text] : automationKeys()) {
        names << key;
    }
    return names;
}

// ---- The table ----

const ResultsScreen::Row* ResultsScreen::rowAt(ui::IndexPath indexPath) const {
    if (indexPath.section < 0 || indexPath.section >= static_cast<long>(sections_.size())) {
        return nullptr;
    }
    const auto& rows = sections_[static_cast<std::size_t>(indexPath.section)].rows;
    if (indexPath.row < 0 || indexPath.row >= static_cast<long>(rows.size())) {
        return nullptr;
    }
    return &rows[static_cast<std::size_t>(indexPath.row)];
}

long ResultsScreen::numberOfSectionsInTableView(ui::TableView* /*table*/) {
    return static_cast<long>(sections_.size());
}

long ResultsScreen::tableViewNumberOfRowsInSection(ui::TableView* /*table*/, long section) {
    if (section < 0 || section >= static_cast<long>(sections_.size())) {
        return 0;
    }
    return static_cast<long>(sections_[static_cast<std::size_t>(section)].rows.size());
}

void ResultsScreen::fillCell(ui::TableViewCell* cell, const Row& row) const {
    ui::Label* text = cell->textLabel();
    text->setNumberOfLines(0);  // a long title (a long language) wraps rather than being cut off
    text->setSystemFontSize(row.kind == Row::Kind::Verdict ? kVerdictFontSize : kTextFontSize);
    QFont font = text->font();
    font.setBold(row.kind == Row::Kind::Verdict);
    text->setFont(font);
    text->setTextColor(row.kind == Row::Kind::SaveReport ? ui::Image::interactionTintColor()
                                                         : QColor(Qt::black));
    text->setText(row.text);
    cell->detailTextLabel()->setSystemFontSize(kDetailFontSize);
    cell->detailTextLabel()->setText(row.detail);
    cell->imageView()->setImage(row.image.isEmpty() ? nullptr : dot(row.image));
    cell->setUserInteractionEnabled(row.kind == Row::Kind::SaveReport);
}

ui::TableViewCell* ResultsScreen::tableViewCellForRowAtIndexPath(ui::TableView* table,
                                                                 ui::IndexPath indexPath) {
    ui::TableViewCell* cell = table->dequeueReusableCellWithIdentifier(kCellIdentifier, indexPath);
    if (const Row* row = rowAt(indexPath)) {
        fillCell(cell, *row);
    }
    return cell;
}

double ResultsScreen::tableViewHeightForRowAtIndexPath(ui::TableView* table, ui::IndexPath indexPath) {
    const Row* row = rowAt(indexPath);
    if (!row) {
        return ui::kTableViewAutomaticDimension;
    }
    measure_->prepareForReuse();
    fillCell(measure_.get(), *row);
    const double inset = table->backgroundInset().value_or(0.0);
    return measure_->fittingHeight(table->width() - 2.0 * inset);
}

double ResultsScreen::tableViewHeightForHeaderInSection(ui::TableView* /*table*/, long section) {
    const auto index = static_cast<std::size_t>(section);
    if (index < headers_.size() && headers_[index]) {
        return kHeaderHeight;
    }
    return ui::kTableViewAutomaticDimension;
}

double ResultsScreen::tableViewHeightForFooterInSection(ui::TableView* /*table*/, long /*section*/) {
    return ui::kTableViewAutomaticDimension;
}

ui::View* ResultsScreen::tableViewViewForHeaderInSection(ui::TableView* /*table*/, long section) {
    const auto index = static_cast<std::size_t>(section);
    return index < headers_.size() ? headers_[index].data() : nullptr;
}

void ResultsScreen::tableViewDidSelectRowAtIndexPath(ui::TableView* table, ui::IndexPath indexPath) {
    table->deselectRowAtIndexPath(indexPath, true);
    if (const Row* row = rowAt(indexPath); row && row->kind == Row::Kind::SaveReport) {
        askWhereToSave();
    }
}

ui::BarPosition ResultsScreen::positionForBar(ui::NavigationBar* /*bar*/) {
    return ui::BarPosition::TopAttached;
}

// ---- Saving the report ----

void ResultsScreen::present(std::shared_ptr<ui::AlertController> alert) {
    if (presented_) {
        return;  // one alert at a time
    }
    presented_ = alert;
    QPointer<ResultsScreen> self(this);
    std::weak_ptr<ui::AlertController> weakAlert = alert;
    alert->presentOver(root_, [self, weakAlert] {
        if (self && self->presented_ == weakAlert.lock()) {
            self->presented_.reset();
        }
    });
}

void ResultsScreen::askWhereToSave() {
    auto alert = ui::AlertController::alertControllerWithTitle(
        report::text(QStringLiteral("results.saveTitle")),
        report::text(QStringLiteral("results.saveMessage"), {kDefaultReportPath}));
    alert->addTextField([](ui::AlertTextField& field) { field.placeholder = kDefaultReportPath; });
    alert->addAction(std::make_shared<ui::AlertAction>(report::text(QStringLiteral("results.cancel")),
                                                       ui::AlertAction::Style::Cancel, nullptr));
    QPointer<ResultsScreen> self(this);
    std::weak_ptr<ui::AlertController> weakAlert = alert;
    alert->addAction(std::make_shared<ui::AlertAction>(
        report::text(QStringLiteral("results.save")), ui::AlertAction::Style::Default, [self, weakAlert] {
            const auto asked = weakAlert.lock();
            if (self && asked) {
                const auto fields = asked->textFields();
                self->save(fields.empty() ? QString() : fields.front()->text);
            }
        }));
    present(alert);
}

void ResultsScreen::save(const QString& typed) {
    const QString path = typed.trimmed().isEmpty() ? kDefaultReportPath : typed.trimmed();
    QByteArray html;
    if (options_.redact) {
        const report::Profile shared = report::redacted(profile_);
        html = report::htmlReport(shared, report::findingsOf(shared));
    } else {
        html = report::htmlReport(profile_, findings_);
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(html) != html.size() || !file.commit()) {
        tell(report::text(QStringLiteral("results.saveFailedTitle")),
             report::text(QStringLiteral("results.saveFailedMessage"), {path, file.errorString()}));
        return;
    }
    tell(report::text(QStringLiteral("results.savedTitle")),
         report::text(QStringLiteral("results.savedMessage"), {QFileInfo(path).absoluteFilePath()}));
}

void ResultsScreen::tell(const QString& title, const QString& message) {
    auto alert = ui::AlertController::alertControllerWithTitle(title, message);
    alert->addAction(std::make_shared<ui::AlertAction>(report::text(QStringLiteral("results.ok")),
                                                       ui::AlertAction::Style::Default, nullptr));
    present(alert);
}

}  // namespace host
