// Images (the check mark, the extension's spacer, flattening to one colour) and the activity
// spinner's sizes, visibility and events.

#include "platform/foundation/Json.h"
#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/Image.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/View.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace platform::ui;

int opaquePixels(const QImage& image) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            n += qAlpha(image.pixel(x, y)) > 0 ? 1 : 0;
        }
    }
    return n;
}

TEST(ImageTest, TheCheckMarkIsANamedTickOnTransparency) {
    const ImageRef check = Image::checkmark();
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(check->name().toStdString(), "check");
    EXPECT_EQ(check->size(), QSize(14, 11));
    const QImage& pixels = check->pixels();
    EXPECT_GT(opaquePixels(pixels), 10);
    EXPECT_EQ(qAlpha(pixels.pixel(13, 10)), 0);  // the bottom right corner stays clear
    EXPECT_EQ(qAlpha(pixels.pixel(0, 0)), 0);
}

TEST(ImageTest, TheSpacerFromTheExtensionsResourcesIsATransparentCheckMarkSize) {
    const ImageRef spacer = Image::imageNamed(QStringLiteral("spacer"), QStringLiteral(":/wifiprofile"));
    ASSERT_NE(spacer, nullptr) << "images/spacer.png is not in the extension's resources";
    EXPECT_EQ(spacer->name().toStdString(), "spacer");
    EXPECT_EQ(spacer->size(), Image::checkmark()->size());
    EXPECT_EQ(opaquePixels(spacer->pixels()), 0);
}

TEST(ImageTest, AMissingOrPathLikeNameGivesNoImage) {
    EXPECT_EQ(Image::imageNamed(QStringLiteral("no-such-image"), QStringLiteral(":/wifiprofile")), nullptr);
    EXPECT_EQ(Image::imageNamed(QStringLiteral("../images/spacer"), QStringLiteral(":/wifiprofile")),
              nullptr);
    EXPECT_EQ(Image::imageNamed(QString(), QStringLiteral(":/wifiprofile")), nullptr);
}

TEST(ImageTest, FlatteningPaintsEveryCoveredPixelInTheColourAndKeepsCoverage) {
    const ImageRef check = Image::checkmark();
    const QColor tint = Image::interactionTintColor();
    EXPECT_EQ(tint, QColor(0, 122, 255));
    const ImageRef blue = check->flattenedToColor(tint);
    ASSERT_NE(blue, nullptr);
    EXPECT_EQ(blue->name().toStdString(), "check");
    ASSERT_EQ(blue->size(), check->size());
    const QImage before = check->pixels().convertToFormat(QImage::Format_ARGB32);
    const QImage after = blue->pixels().convertToFormat(QImage::Format_ARGB32);
    int covered = 0;
    for (int y = 0; y < after.height(); ++y) {
        for (int x = 0; x < after.width(); ++x) {
            const QRgb was = before.pixel(x, y);
            const QRgb now = after.pixel(x, y);
            // Premultiplied storage rounds faint pixels, so allow one step of alpha.
            EXPECT_NEAR(qAlpha(now), qAlpha(was), 1) << "at " << x << "," << y;
            if (qAlpha(now) == 255) {
                ++covered;
                EXPECT_EQ(QColor(now).rgb(), tint.rgb()) << "at " << x << "," << y;
            }
        }
    }
    EXPECT_GT(covered, 5);
}

TEST(ImageTest, AnImageViewTakesItsImagesSize) {
    ImageView view;
    EXPECT_EQ(view.sizeHint(), QSize(0, 0));
    view.setImage(Image::checkmark());
    EXPECT_EQ(view.sizeHint(), QSize(14, 11));
    EXPECT_EQ(view.image()->name().toStdString(), "check");
}

class SpinnerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        errorsAtStart = programmingErrorCount();
        setScreenEventObserver([this](const QString& kind, platform::DictionaryRef fields) {
            events.push_back(kind.toStdString() + " " + platform::toJson(*fields).toStdString());
        });
        root = std::make_unique<View>();
        root->resize(200, 200);
        root->show();
    }
    void TearDown() override {
        setScreenEventObserver(nullptr);
        root.reset();
        EXPECT_EQ(programmingErrorCount(), errorsAtStart);
    }
    std::unique_ptr<View> root;
    std::vector<std::string> events;
    int errorsAtStart = 0;
};

TEST_F(SpinnerTest, SmallStylesAreTwentyPointsAndTheLargeOneThirtySeven) {
    EXPECT_EQ(ActivityIndicatorView(ActivityIndicatorViewStyle::Gray).intrinsicContentSize(), QSizeF(20, 20));
    EXPECT_EQ(ActivityIndicatorView(ActivityIndicatorViewStyle::White).intrinsicContentSize(),
              QSizeF(20, 20));
    EXPECT_EQ(ActivityIndicatorView(ActivityIndicatorViewStyle::WhiteLarge).intrinsicContentSize(),
              QSizeF(37, 37));
    // Before any layout the frame already has the intrinsic size.
    ActivityIndicatorView spinner(ActivityIndicatorViewStyle::Gray, root.get());
    EXPECT_EQ(spinner.size(), QSize(20, 20));
    EXPECT_EQ(spinner.sizeHint(), QSize(20, 20));
}

TEST_F(SpinnerTest, HiddenWhenStoppedAndEachChangeReportedOnce) {
    auto* spinner = new ActivityIndicatorView(ActivityIndicatorViewStyle::Gray, root.get());
    EXPECT_FALSE(spinner->isAnimating());
    EXPECT_FALSE(spinner->isVisible());
    spinner->startAnimating();
    spinner->startAnimating();
    EXPECT_TRUE(spinner->isAnimating());
    EXPECT_TRUE(spinner->isVisible());
    spinner->stopAnimating();
    spinner->stopAnimating();
    EXPECT_FALSE(spinner->isVisible());
    EXPECT_EQ(events, (std::vector<std::string>{R"(spinner {"animating": true})",
                                                R"(spinner {"animating": false})"}));
}

}  // namespace
