#pragma once
// Images: by name from an extension's resources, the platform's check mark, and a copy flattened to
// one colour (as a template image tinted with the accent colour). An image view shows one.

#include "platform/ui/View.h"

#include <QColor>
#include <QImage>
#include <QString>

#include <memory>

namespace platform::ui {

class Image;
using ImageRef = std::shared_ptr<const Image>;

class Image {
  public:
    Image(QString name, QImage pixels) : name_(std::move(name)), pixels_(std::move(pixels)) {}
    // NAME.png under resourceRoot/images (for example ":/wifiprofile"), or nullptr when there is none.
    static ImageRef imageNamed(const QString& name, const QString& resourceRoot);
    // The platform's standard check mark, named "check", drawn in black on transparent.
    static ImageRef checkmark();
    // The platform's accent colour for things a user can interact with.
    static QColor interactionTintColor();
    // Every opaque pixel in colour, transparency kept; the name stays.
    ImageRef flattenedToColor(const QColor& colour) const;

    const QString& name() const { return name_; }
    QSize size() const { return pixels_.size(); }
    const QImage& pixels() const { return pixels_; }

  private:
    QString name_;
    QImage pixels_;
};

// A view that shows an image at its natural size.
class ImageView : public View {
    Q_OBJECT
  public:
    explicit ImageView(QWidget* parent = nullptr);
    void setImage(ImageRef image);
    const ImageRef& image() const { return image_; }
    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    ImageRef image_;
};

}  // namespace platform::ui
