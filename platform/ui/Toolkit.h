#pragma once
// A small touch-style UI toolkit on Qt Widgets: views, labels, a progress bar, a navigation bar
// with its item and bar buttons, and alerts (message, buttons in order with their styles, one
// optional text field). Everything renders the same in a window or off screen, and every element
// can describe its state as data for automation and tests. As on a touch platform, a toolkit view
// made inside a parent appears with it unless hidden.

#include "platform/foundation/Value.h"

#include <QLabel>
#include <QPointer>
#include <QProgressBar>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace platform::ui {

// Gives Qt a private runtime directory (under the temporary directory) when the session has none,
// as a root shell or a CI job often has not; Qt otherwise complains on stderr. Call before the
// application object is made.
void ensureRuntimeDirectory();

// A plain view. The root view of a diagnostic asks its owner to update layout constraints when
// marked as needing it.
class View : public QWidget {
    Q_OBJECT
  public:
    explicit View(QWidget* parent = nullptr);
    void setBackgroundWhite();
    // Schedules one constraints pass (the owner's updateViewConstraints) on the main queue.
    void setNeedsUpdateConstraints();
    void setUpdateConstraintsHandler(std::function<void()> handler) {
        updateConstraints_ = std::move(handler);
    }

  protected:
    // A new size needs a new layout pass, as the constraints would give.
    void resizeEvent(QResizeEvent* event) override;

  private:
    std::function<void()> updateConstraints_;
    bool updatePending_ = false;
};

class Label : public QLabel {
    Q_OBJECT
  public:
    explicit Label(QWidget* parent = nullptr);
    void setNumberOfLines(int lines);
    int numberOfLines() const { return numberOfLines_; }
    // The height the text needs at width w, but never more than its number of lines (0: no limit).
    int heightForWidth(int w) const override;
    void setSystemFontSize(double points);

  private:
    int numberOfLines_ = 1;
};

// A progress bar whose progress runs from 0.0 to 1.0.
class ProgressView : public QProgressBar {
    Q_OBJECT
  public:
    explicit ProgressView(QWidget* parent = nullptr);
    void setProgress(float progress, bool animated);
    float progress() const { return progress_; }

  private:
    float progress_ = 0.0f;
};

class BarButtonItem {
  public:
    enum class Style { Plain = 0, Bordered = 1, Done = 2 };
    BarButtonItem(QString title, Style style, std::function<void()> action);
    const QString& title() const { return title_; }
    Style style() const { return style_; }
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    // What a tap does: the action, when the button is enabled. Answers whether it ran.
    bool tap();
    void setChangedHandler(std::function<void()> handler) { changed_ = std::move(handler); }

  private:
    QString title_;
    Style style_;
    std::function<void()> action_;
    bool enabled_ = true;
    std::function<void()> changed_;
};

class NavigationItem {
  public:
    explicit NavigationItem(QString title) : title_(std::move(title)) {}
    ~NavigationItem();
    NavigationItem(const NavigationItem&) = delete;
    NavigationItem& operator=(const NavigationItem&) = delete;
    const QString& title() const { return title_; }
    std::shared_ptr<BarButtonItem> rightBarButtonItem() const { return right_; }
    void setRightBarButtonItem(std::shared_ptr<BarButtonItem> item);
    void setChangedHandler(std::function<void()> handler);

  private:
    QString title_;
    std::shared_ptr<BarButtonItem> right_;
    std::function<void()> changed_;
};

class NavigationBar : public QWidget {
    Q_OBJECT
  public:
    explicit NavigationBar(QWidget* parent = nullptr);
    void setItems(std::vector<std::shared_ptr<NavigationItem>> items);
    std::shared_ptr<NavigationItem> topItem() const { return items_.empty() ? nullptr : items_.back(); }
    // Moves the bar's centre by dy points.
    void moveCentreBy(double dy);

    // The first navigation bar in root's tree (root itself included), or nullptr.
    static NavigationBar* findIn(QWidget* root);

  protected:
    // The bar spans the width of the view it is in, as a navigation container lays it out.
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void refresh();
    std::vector<std::shared_ptr<NavigationItem>> items_;
    QWidget* balance_;  // as wide as the right button, so the title stays centred
    QLabel* title_;
    QPushButton* right_;
};

class AlertAction {
  public:
    enum class Style { Default = 0, Cancel = 1, Destructive = 2 };
    // "default", "cancel" or "destructive", as screen descriptions name the style.
    static const char* styleName(Style style);
    AlertAction(QString title, Style style, std::function<void()> handler)
        : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}
    const QString& title() const { return title_; }
    Style style() const { return style_; }
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled);
    const std::function<void()>& handler() const { return handler_; }
    void setChangedHandler(std::function<void()> handler) { changed_ = std::move(handler); }

  private:
    QString title_;
    Style style_;
    std::function<void()> handler_;
    bool enabled_ = true;
    std::function<void()> changed_;
};

class AlertTextField {
  public:
    QString placeholder;
    QString text;
    std::function<void()> editingChanged;
};

// An alert presented modally over a view: no title or a title, a message, buttons in order, and
// at most one text field. A tap on an enabled button dismisses the alert, then runs its handler.
class AlertController : public std::enable_shared_from_this<AlertController> {
  public:
    AlertController(QString title, QString message)
        : title_(std::move(title)), message_(std::move(message)) {}
    ~AlertController();
    AlertController(const AlertController&) = delete;
    AlertController& operator=(const AlertController&) = delete;
    static std::shared_ptr<AlertController> alertControllerWithTitle(QString title, QString message) {
        return std::make_shared<AlertController>(std::move(title), std::move(message));
    }

    const QString& title() const { return title_; }
    const QString& message() const { return message_; }
    void addAction(std::shared_ptr<AlertAction> action);
    const std::vector<std::shared_ptr<AlertAction>>& actions() const { return actions_; }
    void addTextField(std::function<void(AlertTextField&)> configure);
    std::vector<AlertTextField*> textFields();

    bool isPresented() const { return overlay_ != nullptr; }
    // Shows the alert over host; dismissed is called once when it goes away.
    void presentOver(QWidget* host, std::function<void()> dismissed);
    void dismiss();
    // A user's tap on the button at index; refused (false) when it is disabled or absent.
    bool tapAction(std::size_t index);
    // A user typing: replaces the field's text and reports the editing change; refused (false)
    // when the alert has no text field or is not presented.
    bool typeText(const QString& text);

    DictionaryRef describe() const;

  private:
    void buildOverlay();
    void refreshOverlay();
    QString title_;
    QString message_;
    std::vector<std::shared_ptr<AlertAction>> actions_;
    std::unique_ptr<AlertTextField> textField_;
    QPointer<QWidget> overlay_;  // owned by the host widget it covers
    QLineEdit* lineEdit_ = nullptr;
    std::vector<QPushButton*> buttons_;
    std::function<void()> dismissed_;
};

// Visible changes as they happen (today: a progress bar's new value as "progress"), for a
// driver's event stream. Called on the main thread.
using ScreenEventObserver = std::function<void(const QString& kind, DictionaryRef fields)>;
void setScreenEventObserver(ScreenEventObserver observer);

// The screen under root as data: navigation bar (title, right button and its state), alert,
// labels and progress bars, in a form stable enough for automation scripts and tests.
DictionaryRef describeScreen(QWidget* root, const AlertController* presentedAlert);

}  // namespace platform::ui
