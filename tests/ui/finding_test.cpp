// Finding a token by typing a part of its name, in the token view.

#include <QApplication>
#include <QClipboard>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLineEdit>

#include "tests/ui/app_test.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

using test::Lines;

// Passcodes at 45 seconds: of seed1 (RFC 4226), and of seed2.
constexpr const char* code_of_seed1 = "263420";
constexpr const char* code_of_seed2 = "996554";

class FindingTest : public AppTest {
 protected:
  FindingTest() {
    clock = 45;
    store("Bank");
    store("Work mail", seed2);
    store("Éclair mail");
    show("tv");
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
  }

  /// To where the keyboard is.
  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus != nullptr ? focus : panel(), key, modifiers);
    turnEventLoop();
  }
  void typeText(const std::string& text) {
    for (const QChar character : QString::fromStdString(text)) {
      // Not by QTest: it knows no letters beyond Latin 1.
      const int code = character == QLatin1Char(' ') ? static_cast<int>(Qt::Key_Space) : 0;
      for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent key(type, code, Qt::NoModifier, QString(character));
        QWidget* focus = QApplication::focusWidget();
        QApplication::sendEvent(focus != nullptr ? focus : panel(), &key);
      }
    }
    turnEventLoop();
  }
  /// The names in the rows that show, from the top, where rows stand.
  static Lines names() {
    std::map<int, std::string> by_place;
    for (QWidget* row : all<QWidget>("tvtoken")) {
      if (!row->isVisible()) continue;
      by_place[row->y()] = row->findChild<QLabel*>(QStringLiteral("tvdesc"))->text().toStdString();
    }
    Lines result;
    for (const auto& [place, name] : by_place) {
      EXPECT_EQ(place, tokenRowFrame(static_cast<int>(result.size())).y) << name;
      result.push_back(name);
    }
    return result;
  }
  /// What stands in the logo band in place of the program's name.
  static std::string logoText() {
    const auto labels = all<QLabel>("bg_logo_text");
    return labels.empty() || !labels.front()->isVisible() ? ""
                                                          : labels.front()->text().toStdString();
  }
  static std::string copied() { return QGuiApplication::clipboard()->text().toStdString(); }
  static QWidget* copyOf(std::size_t token) { return all<QWidget>("tvcopy").at(token); }
};

const Lines all_names{"Bank", "Work mail", "Éclair mail"};

TEST_F(FindingTest, LettersLeaveTheRowsWhoseNamesHoldThem) {
  EXPECT_EQ(names(), all_names);
  EXPECT_EQ(logoText(), "");
  typeText("ma");
  EXPECT_EQ(names(), (Lines{"Work mail", "Éclair mail"}));
  EXPECT_EQ(logoText(), "ma");
  typeText("il");
  EXPECT_EQ(names(), (Lines{"Work mail", "Éclair mail"}));
  EXPECT_EQ(logoText(), "mail");
}

class InputMethodTest : public FindingTest {
 protected:
  static QWidget* focus() {
    QWidget* focus = QApplication::focusWidget();
    return focus != nullptr ? focus : panel();
  }
  static void compose(const QString& preedit, const QString& commit, int start = 0,
                      int length = 0) {
    auto* event = new QInputMethodEvent(preedit, {});
    event->setCommitString(commit, start, length);
    QApplication::postEvent(focus(), event);
    turnEventLoop();
  }
  static QVariant ask(Qt::InputMethodQuery what) {
    QInputMethodQueryEvent query(what);
    QApplication::sendEvent(focus(), &query);
    return query.value(what);
  }
};

TEST_F(InputMethodTest, ComposedTextFindsTokens) {
  EXPECT_TRUE(ask(Qt::ImEnabled).toBool());
  compose(QStringLiteral("´"), QString());
  EXPECT_EQ(logoText(), "´");
  EXPECT_EQ(names(), all_names);
  compose(QString(), QStringLiteral("É"));
  EXPECT_EQ(names(), Lines{"Éclair mail"});
  EXPECT_EQ(logoText(), "É");
  compose(QString(), QStringLiteral("日本"));
  EXPECT_EQ(names(), Lines());
  EXPECT_EQ(logoText(), "É日本");
  EXPECT_TRUE(ask(Qt::ImEnabled).toBool());
  EXPECT_EQ(ask(Qt::ImSurroundingText).toString(), QStringLiteral("É日本"));
  EXPECT_EQ(ask(Qt::ImCursorPosition).toInt(), 3);
  compose(QString(), QStringLiteral("c"), -2, 2);
  EXPECT_EQ(logoText(), "Éc");
  compose(QStringLiteral("x"), QString());
  compose(QString(), QString());
  EXPECT_EQ(logoText(), "Éc");
}

TEST_F(InputMethodTest, OpensItsWindowBelowTheLogoBandsText) {
  const QRect cursor = ask(Qt::ImCursorRectangle).toRect();
  const QRect in_panel(focus()->mapTo(panel(), cursor.topLeft()), cursor.size());
  EXPECT_TRUE(rectangle(logoFrame()).contains(in_panel)) << frameOf(in_panel);
}

TEST_F(InputMethodTest, DigitThatComesAsTextCopies) {
  compose(QString(), QStringLiteral("2"));
  EXPECT_EQ(copied(), code_of_seed2);
  EXPECT_EQ(openView(), "");
}

TEST_F(InputMethodTest, OtherViewsTakeNoTextFromIt) {
  show("hv");
  EXPECT_FALSE(ask(Qt::ImEnabled).toBool());
  show("cv");
  ASSERT_TRUE(ask(Qt::ImEnabled).toBool()) << "in a field";
  compose(QString(), QStringLiteral("é"));
  EXPECT_TRUE(all<QLineEdit>("cvdesc").front()->text().contains(QStringLiteral("é")));
  EXPECT_EQ(logoText(), "");
}

TEST_F(FindingTest, CaseAndAccentsAreLeftAside) {
  typeText("ECL");
  EXPECT_EQ(names(), Lines{"Éclair mail"});
  press(Qt::Key_Escape);
  typeText("wörk");
  EXPECT_EQ(names(), Lines{"Work mail"});
}

TEST_F(FindingTest, ReturnCopiesTheFirst) {
  typeText("w");
  EXPECT_EQ(QApplication::focusWidget(), copyOf(1));
  press(Qt::Key_Return);
  EXPECT_EQ(copied(), code_of_seed2);
  EXPECT_EQ(openView(), "");
}

TEST_F(FindingTest, DigitsCountTheShownRows) {
  typeText("mail");
  press(Qt::Key_2);
  EXPECT_EQ(copied(), code_of_seed1);
  show("tv");
  typeText("mail");
  press(Qt::Key_1, Qt::KeypadModifier);
  EXPECT_EQ(copied(), code_of_seed2);
  show("tv");
  typeText("mail");
  press(Qt::Key_3);
  EXPECT_EQ(openView(), "tv") << "there is no third row";
  EXPECT_EQ(names(), (Lines{"Work mail", "Éclair mail"})) << "digits are not typed";
}

TEST_F(FindingTest, DigitOfTheNumericKeypadCopies) {
  press(Qt::Key_2, Qt::KeypadModifier);
  EXPECT_EQ(copied(), code_of_seed2);
}

TEST_F(FindingTest, ArrowsGoThroughTheShownRows) {
  typeText("mail");
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyOf(2));
  press(Qt::Key_Down);
  EXPECT_EQ(QApplication::focusWidget(), copyOf(2));
  press(Qt::Key_Up);
  press(Qt::Key_Up);
  EXPECT_EQ(QApplication::focusWidget(), copyOf(1));
}

TEST_F(FindingTest, EscapeShowsAllRowsThenCloses) {
  typeText("mail");
  press(Qt::Key_Escape);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(names(), all_names);
  EXPECT_EQ(logoText(), "");
  EXPECT_EQ(QApplication::focusWidget(), copyOf(0));
  press(Qt::Key_Escape);
  EXPECT_EQ(openView(), "");
}

TEST_F(FindingTest, BackspaceTakesBackTheLastCharacter) {
  typeText("w😀");
  EXPECT_EQ(names(), Lines());
  press(Qt::Key_Backspace);
  EXPECT_EQ(logoText(), "w");
  EXPECT_EQ(names(), Lines{"Work mail"});
  press(Qt::Key_Backspace);
  EXPECT_EQ(logoText(), "");
  EXPECT_EQ(names(), all_names);
  press(Qt::Key_Backspace);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(FindingTest, SpaceBelongsToTheNameOnceOneIsTyped) {
  typeText("work m");
  EXPECT_EQ(logoText(), "work m");
  EXPECT_EQ(names(), Lines{"Work mail"});
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(copied(), "before");
  press(Qt::Key_Escape);
  typeText("mail ");
  EXPECT_EQ(names(), (Lines{"Work mail", "Éclair mail"})) << "the next word is still to come";
}

TEST_F(FindingTest, SpaceBeforePressesCopy) {
  typeText("m");
  press(Qt::Key_Escape);
  press(Qt::Key_Space);
  EXPECT_EQ(copied(), code_of_seed1);
  EXPECT_EQ(openView(), "");
}

TEST_F(FindingTest, NameThatNoTokenHasIsTold) {
  typeText("xyz");
  EXPECT_EQ(names(), Lines());
  EXPECT_EQ(textOf("tvnone"), "No token has “xyz” in its name. Escape shows all tokens");
  EXPECT_TRUE(find<QLabel>("tvnone")->isVisible());
  EXPECT_EQ(hoverText(*find<QLabel>("tvnone")), QString()) << "it is cut";
  EXPECT_EQ(QApplication::focusWidget(), panel());
  press(Qt::Key_Return);
  press(Qt::Key_Space);
  press(Qt::Key_1);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(copied(), "before");
  EXPECT_EQ(logoText(), "xyz ");
  press(Qt::Key_Escape);
  EXPECT_FALSE(find<QLabel>("tvnone")->isVisible());
}

TEST_F(FindingTest, WindowStaysAsItIs) {
  const QRect before = panel()->geometry();
  typeText("bank");
  EXPECT_EQ(panel()->geometry(), before);
  EXPECT_EQ(frameOf(find<QWidget>("tvcountdown")->geometry()), countdownFrame(3));
}

TEST_F(FindingTest, ThePanelOpensWithAllRows) {
  typeText("bank");
  clickIcon();
  show("tv");
  EXPECT_EQ(names(), all_names);
  EXPECT_EQ(logoText(), "");
  typeText("work");
  click("tvhelp");
  click("hvhome");
  EXPECT_EQ(names(), all_names);
}

TEST_F(FindingTest, KeysForOtherThingsAreNotTyped) {
  press(Qt::Key_A, Qt::ControlModifier);
  press(Qt::Key_A, Qt::AltModifier);
  press(Qt::Key_A, Qt::MetaModifier);
  press(Qt::Key_F5);
  press(Qt::Key_Delete);
  press(Qt::Key_0);
  EXPECT_EQ(logoText(), "");
  EXPECT_EQ(names(), all_names);
}

TEST_F(FindingTest, PasscodesOfAllRowsGoOn) {
  typeText("work");
  tick(60);
  press(Qt::Key_Escape);
  EXPECT_EQ(codes(), (Lines{"092045", "602287", "092045"}));
}

TEST_F(FindingTest, NothingIsTraced) {
  clearTrace();
  typeText("work");
  EXPECT_EQ(traced({"TV : ", "APP: "}), Lines());
}

TEST_F(FindingTest, FirstRowComesIntoViewInALongList) {
  storeMany(20);
  show("tv");
  press(Qt::Key_End);
  typeText("work");
  const Frame row = frameInPanel(copyOf(1));
  EXPECT_GE(row.y, band_height);
  EXPECT_LT(row.y + row.height, panel()->height() - band_height);
}

}  // namespace
}  // namespace talvane
