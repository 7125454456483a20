#pragma once
// Alerts: a message, buttons in order with their styles, and at most one text field.
#include <QPointer>
#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>
#include "platform/foundation/Value.h"

class QLineEdit;
class QPushButton;

namespace platform::ui {

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
    // One editing change of the text field: the new text, a "textEdited" screen event, then the
    // field's editing-changed action.
    void textEdited(const QString& text);
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

}  // namespace platform::ui
