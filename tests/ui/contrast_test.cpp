// Every text that the program shows is read off its pixels: the colour of the text is the one of
// its pixels that differs most from what is beneath, and it has to stand out from every pixel of
// the ground that it covers (WCAG 2, contrast ratio 4.5, also if it is disabled; 3 for the mark of
// what has the keyboard).

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QMenu>
#include <QToolTip>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

#include "engine/vane.h"
#include "tests/ui/app_test.h"
#include "tests/ui/contrast.h"
#include "ui/desktop/tray.h"
#include "ui/kit/look.h"
#include "ui/kit/text_label.h"

namespace talvane {
namespace {

using test::AlertUser;
using test::contrast;

constexpr double least_contrast = 4.5;
constexpr double least_contrast_of_marks = 3;

int distance(QRgb a, QRgb b) {
  return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
         std::abs(qBlue(a) - qBlue(b));
}

/// The colour that differs most from what is beneath; none when nothing differs.
std::optional<QRgb> colourOn(const QImage& ground, const QImage& with_text) {
  std::optional<QRgb> text;
  int farthest = 0;
  for (int y = 0; y < ground.height(); ++y) {
    for (int x = 0; x < ground.width(); ++x) {
      const int far = distance(with_text.pixel(x, y), ground.pixel(x, y));
      if (far <= farthest) continue;
      farthest = far;
      text = with_text.pixel(x, y);
    }
  }
  return text;
}

/// The least contrast of a text with what it covers; 0 when there is no text to be seen.
double textContrast(const QImage& with_text, const QImage& ground) {
  const std::optional<QRgb> text = colourOn(ground, with_text);
  if (!text) return 0;
  double least = 21;
  for (int y = 0; y < ground.height(); ++y) {
    for (int x = 0; x < ground.width(); ++x) {
      if (with_text.pixel(x, y) == ground.pixel(x, y)) continue;
      least = std::min(least, contrast(*text, ground.pixel(x, y)));
    }
  }
  return least;
}

TEST(ContrastRatio, OfKnownColours) {
  EXPECT_NEAR(contrast(qRgb(0, 0, 0), qRgb(255, 255, 255)), 21.0, 1e-9);
  EXPECT_NEAR(contrast(qRgb(255, 255, 255), qRgb(255, 255, 255)), 1.0, 1e-9);
  EXPECT_NEAR(contrast(qRgb(0x77, 0x77, 0x77), qRgb(255, 255, 255)), 4.48, 0.005);
  EXPECT_NEAR(contrast(qRgb(0xff, 0, 0), qRgb(255, 255, 255)), 4.00, 0.005);
}

TEST(ContrastRatio, OfATextOnATwoColouredGround) {
  QImage ground(4, 1, QImage::Format_RGB32);
  ground.fill(Qt::white);
  ground.setPixel(1, 0, qRgb(0x77, 0x77, 0x77));
  ground.setPixel(3, 0, qRgb(1, 1, 1));  // not covered
  QImage text = ground;
  text.setPixel(0, 0, qRgb(0, 0, 0));
  text.setPixel(1, 0, qRgb(0, 0, 0));
  EXPECT_NEAR(textContrast(text, ground), contrast(qRgb(0, 0, 0), qRgb(0x77, 0x77, 0x77)), 1e-9);
  EXPECT_EQ(textContrast(ground, ground), 0);
}

class ContrastTest : public AppTest {
 protected:
  ContrastTest() {
    setSettings("AllowManual=1\nEnrolURL=https://srv\n");
    // The pointer is nowhere.
    QCursor::setPos(0, 0);
  }
  ~ContrastTest() override {
    if (!worst_name_.empty()) {
      std::printf("  least contrast %.2f: %s\n", worst_, worst_name_.c_str());
      RecordProperty("least_contrast", std::to_string(worst_));
    }
  }

  static QImage grab(const QWidget* widget) {
    QWidget* window = widget->window();
    return window->grab(QRect(widget->mapTo(window, QPoint(0, 0)), widget->size()))
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
  }

  /// `Text` has text() and setText().
  template <typename Text>
  void measure(Text* widget, const std::string& what) {
    ASSERT_NE(widget, nullptr);
    measure(
        widget, widget->text(), [widget](const QString& text) { widget->setText(text); }, what);
  }

  void measure(const QWidget* widget, const QString& text,
               const std::function<void(const QString&)>& set_text, const std::string& what) {
    ASSERT_FALSE(text.isEmpty()) << what;
    const QImage with_text = grab(widget);
    set_text(QString());
    const QImage ground = grab(widget);
    set_text(text);
    expectContrast(with_text, ground, least_contrast, what + ": " + text.toStdString());
  }

  void expectContrast(const QImage& with_text, const QImage& ground, double least,
                      const std::string& what) {
    const double measured = textContrast(with_text, ground);
    EXPECT_GE(measured, least) << what;
    if (worst_name_.empty() || measured < worst_) {
      worst_ = measured;
      worst_name_ = what;
    }
  }

  /// Lets the server answer to a sign-in so.
  void answerSignIn(const std::string& reply) {
    type("eva_userid", "ada");
    network.answer(reply);
    click("eva_submit");
  }

  /// The sign-in view after the server's first answer.
  void showSignIn() {
    network.answer("RESULT:OK\r\nVERSION:7200\r\nPASSWORD:False\r\n");
    show("eva");
    ASSERT_TRUE(QTest::qWaitFor([] { return find<QLineEdit>("eva_userid")->isVisible(); }));
  }

  /// The view that asks for a PIN and for answers to questions.
  void askQuestions() {
    showSignIn();
    answerSignIn(
        "RESULT:OK,GETINFO\r\nINPUT:USERCREATEPIN=True\r\nPINLENGTH:4\r\nINPUT:ENROL=True\r\n"
        "QUESTIONS1:Pet,Song\r\nQUESTIONS2:Pet,Song\r\n"
        "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=30\r\n");
    ASSERT_EQ(openView(), "evgi");
  }

  /// The mark of the keyboard focus against what is around it and within it.
  void measureMark(QWidget* widget, const std::string& what) {
    constexpr int around = 3;
    constexpr int within = 4;
    QWidget* window = widget->window();
    const QRect area = QRect(widget->mapTo(window, QPoint(0, 0)), widget->size());
    const auto picture = [&] {
      return window->grab(area.adjusted(-around, -around, around, around))
          .toImage()
          .convertToFormat(QImage::Format_RGB32);
    };
    widget->clearFocus();
    const QImage without = picture();
    widget->setFocus();
    const QImage with = picture();
    const std::optional<QRgb> mark = colourOn(without, with);
    ASSERT_TRUE(mark) << what << ", mark";
    // Right of the text.
    const int x = with.width() * 3 / 4;
    for (const int y : {1, around + within}) {
      EXPECT_GE(contrast(*mark, with.pixel(x, y)), least_contrast_of_marks) << what << ", mark";
    }
    widget->clearFocus();
  }

  void measureButton(QAbstractButton* button, const std::string& what) {
    button->clearFocus();
    measure(button, what);
    button->setAttribute(Qt::WA_UnderMouse, true);
    measure(button, what + ", hovered");
    button->setAttribute(Qt::WA_UnderMouse, false);
    button->setDown(true);
    measure(button, what + ", pressed");
    button->setDown(false);
    button->setFocus();
    measure(button, what + ", focused");
    button->clearFocus();
  }

  /// An entry of an open menu: its text, its text under the pointer, the mark of the pointer.
  /// `choose` puts the pointer on it or, if false, elsewhere.
  void measureEntry(const QWidget& popup, const std::function<QRect()>& place, bool enabled,
                    const QString& text, const std::function<void(const QString&)>& set_text,
                    const std::function<void(bool)>& choose, const std::string& what) {
    const auto picture = [&](bool chosen, const QString& shown) {
      set_text(shown);
      choose(chosen);
      turnEventLoop();
      return const_cast<QWidget&>(popup).grab(place()).toImage().convertToFormat(
          QImage::Format_RGB32);
    };
    const double least = enabled ? least_contrast : least_contrast_of_marks;
    const std::string name = what + " entry " + text.toStdString() + (enabled ? "" : ", disabled");
    const QString none = QStringLiteral(" ");
    const QImage ground = picture(false, none);
    const QImage chosen_ground = picture(true, none);
    expectContrast(picture(false, text), ground, least, name);
    expectContrast(picture(true, text), chosen_ground, least, name + ", hovered");
    // A disabled entry is passed over.
    if (enabled) expectContrast(chosen_ground, ground, least_contrast_of_marks, name + ", mark");
  }

  void measureMenu(QMenu& menu, const std::string& what) {
    menu.setMinimumWidth(menu.width());  // also without a text
    for (QAction* action : menu.actions()) {
      if (action->isSeparator()) continue;
      measureEntry(
          menu, [&] { return menu.actionGeometry(action); }, action->isEnabled(), action->text(),
          [&](const QString& text) { action->setText(text); },
          [&](bool chosen) { menu.setActiveAction(chosen ? action : nullptr); }, what);
    }
  }

  void measureAll(const std::string& prefix) { measureAll(*panel(), prefix); }

  void measureAll(const QWidget& window, const std::string& prefix) {
    for (auto* button : window.findChildren<QAbstractButton*>()) {
      if (!button->isVisible() || button->text().isEmpty()) continue;
      const std::string name = prefix + " button " + button->text().toStdString();
      if (button->isEnabled()) {
        measureButton(button, name);
      } else {
        measure(button, name + ", disabled");
      }
    }
    for (auto* label : window.findChildren<QLabel*>()) {
      if (label->isVisible() && !label->text().isEmpty()) {
        measure(label, prefix + " label " + label->text().toStdString());
      }
    }
    for (auto* menu : window.findChildren<QComboBox*>()) {
      if (!menu->isVisible()) continue;
      const auto set_text = [menu](const QString& text) {
        menu->setItemText(menu->currentIndex(), text);
      };
      measure(menu, menu->currentText(), set_text, prefix + " menu");
      measureMark(menu, prefix + " menu");
    }
    for (auto* field : window.findChildren<QLineEdit*>()) {
      if (!field->isVisible()) continue;
      field->clearFocus();
      const bool filled = !field->text().isEmpty();
      if (!filled) field->setText(QStringLiteral("Typed text"));
      field->setPlaceholderText(QString());  // it would show where the text is taken away
      measure(field, prefix + " field " + field->objectName().toStdString());
    }
  }

 private:
  double worst_ = 21;
  std::string worst_name_;
};

TEST_F(ContrastTest, TokenView) {
  store("Mail");
  show("tv");
  measureAll("tv");
}

TEST_F(ContrastTest, TokenViewWithoutTokens) {
  show("tv");
  ASSERT_FALSE(button("tvconfig")->isEnabled());
  measureAll("tv");
}

TEST_F(ContrastTest, PasscodesInEveryColourOfTheTable) {
  store("Mail");
  show("tv");
  for (int second = 0; second < 30; ++second) {
    tick(second);
    ASSERT_EQ(colourOf("tvpasscode"), colour(vane::ColorForValue2(second)));
    measure(find<QLabel>("tvpasscode"), "passcode at second " + std::to_string(second));
  }
}

TEST_F(ContrastTest, PasscodeThatComesNext) {
  store("Mail");
  clock = 25;
  show("tv");
  measure(find<QLabel>("tvnext"), "next passcode");
}

TEST_F(ContrastTest, WhatIsTypedToFindAToken) {
  store("Mail");
  show("tv");
  QTest::keyClicks(panel()->focusWidget(), QStringLiteral("x"));
  measure(find<QLabel>("bg_logo_text"), "typed");
  measure(find<QLabel>("tvnone"), "none found");
}

TEST_F(ContrastTest, WhatThePinLacks) {
  askQuestions();
  auto* field = find<QLineEdit>("evgi_pinagain");
  const auto measureHint = [&](const std::string& what) {
    field->clearFocus();
    measure(
        field, field->placeholderText(),
        [field](const QString& text) { field->setPlaceholderText(text); }, what);
  };
  measureHint("PIN again");
  type("evgi_pin", "1");
  measureHint("PIN lacks");
}

TEST_F(ContrastTest, EveryDigitOfAPasscode) {
  store("Mail");
  show("tv");
  for (const char* digits : {"000000", "888888", "123456", "777777"}) {
    auto* passcode = dynamic_cast<TextLabel*>(find<QLabel>("tvpasscode"));
    passcode->setText(QString::fromLatin1(digits));
    passcode->setTextColour(colour(vane::ColorForValue2(29)));
    measure(passcode, digits);
  }
}

TEST_F(ContrastTest, WordsAboutTheKeychain) {
  fault = [](test::FaultyKeychain::Call /*call*/) {
    return KeychainStatus::interaction_not_allowed;
  };
  keychain.unlocks = [](const std::function<bool()>& /*given_up*/) { return KeychainStatus::ok; };
  show("tv");
  ASSERT_TRUE(find<QLabel>("tvtrouble")->isVisible());
  ASSERT_TRUE(button("tvunlock")->isVisible());
  measureAll("tv");
}

TEST_F(ContrastTest, ManagementView) {
  storeMany(2);
  show("cv");
  measureAll("cv");
}

TEST_F(ContrastTest, AddView) {
  show("av");
  measureAll("av");
}

TEST_F(ContrastTest, ManualView) {
  show("mv");
  measureAll("mv");
}

TEST_F(ContrastTest, ResponseView) {
  showResponse();
  measureAll("rv");
}

TEST_F(ContrastTest, HelpView) {
  show("hv");
  measureAll("hv");
}

TEST_F(ContrastTest, SignInViewWhileItWaits) {
  show("eva");
  measureAll("eva");
}

TEST_F(ContrastTest, SignInView) {
  showSignIn();
  measureAll("eva");
}

TEST_F(ContrastTest, SignInViewWithARefusal) {
  showSignIn();
  answerSignIn("RESULT:OK,DENIED\r\nMESSAGE:Your account is locked\r\n");
  measureAll("eva");
}

TEST_F(ContrastTest, PinAndQuestions) {
  askQuestions();
  measureAll("evgi");
}

TEST_F(ContrastTest, QuestionMenus) {
  askQuestions();
  auto* menu = find<QComboBox>("evgi_question1");
  menu->showPopup();
  turnEventLoop();
  QAbstractItemView* view = menu->view();
  ASSERT_TRUE(view->isVisible());
  for (int row = 0; row < menu->count(); ++row) {
    const QModelIndex index = menu->model()->index(row, 0);
    const QModelIndex other = menu->model()->index(1 - row, 0);
    measureEntry(
        *view->viewport(), [&] { return view->visualRect(index); }, true, menu->itemText(row),
        [&](const QString& text) { menu->setItemText(row, text); },
        [&](bool chosen) { view->setCurrentIndex(chosen ? index : other); }, "question");
  }
  menu->hidePopup();
}

TEST_F(ContrastTest, MenusOfFields) {
  show("mv");
  auto* field = find<QLineEdit>("mvdesc");
  type(field, "Typed text");
  // With nothing selected or copied, the text can be undone and selected. With all of it selected,
  // it can also be cut, copied, deleted and pasted over.
  for (const bool all : {false, true}) {
    if (all) {
      QGuiApplication::clipboard()->setText(QStringLiteral("copied"));
      field->selectAll();
    }
    QContextMenuEvent asked(QContextMenuEvent::Mouse, QPoint(5, 5),
                            field->mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(field, &asked);
    turnEventLoop();
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    const auto actions = menu->actions();
    const auto enabled = std::count_if(actions.begin(), actions.end(), [](const QAction* action) {
      return !action->isSeparator() && action->isEnabled();
    });
    EXPECT_EQ(enabled, all ? 5 : 2);
    measureMenu(*menu, "field");
    menu->close();
    turnEventLoop();
  }
}

TEST_F(ContrastTest, StatusMenu) {
  Tray tray(QIcon(QPixmap(16, 16)), {});
  tray.show({QStringLiteral("Open"), QStringLiteral("Close"), QStringLiteral("Add"),
             QStringLiteral("Help"), QStringLiteral("Exit")},
            false);
  QMenu* menu = nullptr;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->objectName() == QLatin1String("statusmenu")) menu = qobject_cast<QMenu*>(window);
  }
  ASSERT_NE(menu, nullptr);
  menu->popup(QPoint(50, 50));
  turnEventLoop();
  measureMenu(*menu, "status menu");
  menu->close();
}

TEST_F(ContrastTest, ToolTips) {
  show("tv");
  QToolTip::showText(QPoint(50, 50), QStringLiteral("Close"), panel());
  turnEventLoop();
  QLabel* tip = nullptr;
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (window->inherits("QTipLabel") && window->isVisible()) tip = qobject_cast<QLabel*>(window);
  }
  ASSERT_NE(tip, nullptr);
  measure(tip, "tool tip");
  QToolTip::hideText();
}

TEST_F(ContrastTest, AddressView) {
  setSettings("AllowManual=1\n");
  show("evgu");
  measureAll("evgu");
}

TEST_F(ContrastTest, Alerts) {
  store("Mail");
  show("cv");
  find<QAbstractButton>("cvdelete")->setChecked(true);
  const auto measureAlert = [this](QMessageBox& box) {
    EXPECT_TRUE(QTest::qWaitFor([&box] { return box.isActiveWindow(); }));
    measureAll(box, "alert");
    for (QAbstractButton* button : box.buttons())
      measureMark(button, "alert button " + button->text().toStdString());
    AlertUser::pressEscape(box);
  };
  alerts.answers.assign(2, measureAlert);
  click("cvtrash");
  app().simpleMessageBox(QStringLiteral("Invalid character in seed"));
  EXPECT_EQ(alerts.texts(), (test::Lines{"Are you sure you want to delete these tokens?",
                                         "Invalid character in seed"}));
}

}  // namespace
}  // namespace talvane
