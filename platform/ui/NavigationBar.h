#pragma once
// The navigation bar at the top of a screen: its item (title, right-hand bar button) and the bar.
#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QLabel;
class QPushButton;

namespace platform::ui {

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

class NavigationBar;

// Where a bar sits on its screen: anywhere, at the bottom, at the top, or at the top and joined to
// the status bar above it.
enum class BarPosition { Any = 0, Bottom = 1, Top = 2, TopAttached = 3 };

// What a navigation bar asks the screen it serves.
class NavigationBarDelegate {
  public:
    virtual ~NavigationBarDelegate() = default;
    virtual BarPosition positionForBar(NavigationBar* bar) = 0;
};

class NavigationBar : public QWidget {
    Q_OBJECT
  public:
    explicit NavigationBar(QWidget* parent = nullptr);
    void setItems(std::vector<std::shared_ptr<NavigationItem>> items);
    std::shared_ptr<NavigationItem> topItem() const { return items_.empty() ? nullptr : items_.back(); }
    // The delegate is not owned; the bar asks it for its position.
    void setDelegate(NavigationBarDelegate* delegate) { delegate_ = delegate; }
    // The position the delegate gives, or Any without a delegate.
    BarPosition barPosition();
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
    NavigationBarDelegate* delegate_ = nullptr;
};

}  // namespace platform::ui
