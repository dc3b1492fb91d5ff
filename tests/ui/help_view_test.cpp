// The help view.

#include <QEventLoop>

#include "tests/ui/app_test.h"

namespace talvane {
namespace {

using test::Lines;

class HelpTest : public AppTest {
 protected:
  using Targets = std::vector<std::optional<std::string>>;
};

TEST_F(HelpTest, Captions) {
  show("hv");
  EXPECT_EQ(caption("hvgs"), "Getting started");
  EXPECT_EQ(caption("hvmanage"), "Manage Your Token Type");
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
  EXPECT_EQ(caption("hvexit"), "Exit");
  EXPECT_EQ(caption("hvhome"), "Home");
  EXPECT_EQ(caption("hvabout"), "About");
}

TEST_F(HelpTest, CaptionsOfTheSettings) {
  setSettings(
      "StrGettingStarted=G\nStrManage=M\nStrStartupAdd=Start at login\nStrMenuExit=X\n"
      "StrButtonHome=H\n");
  show("hv");
  EXPECT_EQ(caption("hvgs"), "G");
  EXPECT_EQ(caption("hvmanage"), "M");
  EXPECT_EQ(caption("hvlaunch"), "Start at login");
  EXPECT_EQ(caption("hvexit"), "X");
  EXPECT_EQ(caption("hvhome"), "H");
}

TEST_F(HelpTest, TraceOfShowing) {
  app();
  clearTrace();
  show("hv");
  EXPECT_EQ(traced({"HV : "}),
            (Lines{"HV : init: begin", "HV : init: launch at login false", "HV : init: end"}));
  login_items.list.append("/opt/softtoken/bin/softtoken");
  clearTrace();
  show("hv");
  EXPECT_EQ(traced({"HV : "}),
            (Lines{"HV : init: begin", "HV : init: launch at login true", "HV : init: end"}));
}

TEST_F(HelpTest, PressTurnsLaunchAtLoginOff) {
  login_items.list.append("/opt/softtoken/bin/softtoken");
  show("hv");
  EXPECT_EQ(caption("hvlaunch"), "Remove from \"Login Items\"");
  clearTrace();
  click("hvlaunch");
  EXPECT_EQ(login_items.list.targets(), Targets());
  EXPECT_EQ(openView(), "hv");
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
  EXPECT_EQ(traced({"HV : launch"}),
            (Lines{"HV : launchclicked: begin", "HV : launchclicked: removing from launch items...",
                   "HV : launchclicked: end"}));
}

TEST_F(HelpTest, PressTurnsLaunchAtLoginOn) {
  show("hv");
  clearTrace();
  click("hvlaunch");
  EXPECT_EQ(login_items.list.targets(), (Targets{"/opt/softtoken/bin/softtoken"}));
  EXPECT_EQ(caption("hvlaunch"), "Remove from \"Login Items\"");
  EXPECT_EQ(traced({"HV : launch"}),
            (Lines{"HV : launchclicked: begin", "HV : launchclicked: adding to launch items...",
                   "HV : launchclicked: end"}));
}

TEST_F(HelpTest, WhatTheAdministratorHasDecidedCannotBeSwitched) {
  show("hv");
  EXPECT_TRUE(button("hvlaunch")->isEnabled());
  setSettings("LoginItems=on\n");
  launch();
  show("hv");
  EXPECT_FALSE(button("hvlaunch")->isEnabled());
  EXPECT_EQ(caption("hvlaunch"), "Remove from \"Login Items\"");
}

TEST_F(HelpTest, ListThatCannotBeChangedShowsTheTruth) {
  login_items.list.writable = false;
  show("hv");
  click("hvlaunch");
  EXPECT_EQ(login_items.list.insertions, 1U);
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(HelpTest, ChangeByAnotherProgramShowsAtOnce) {
  show("hv");
  login_items.list.append("/opt/softtoken/bin/softtoken");
  EXPECT_EQ(caption("hvlaunch"), "Remove from \"Login Items\"");
  login_items.list.clear();
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
}

TEST_F(HelpTest, ItemOfAnotherPlaceDoesNotCount) {
  login_items.list.append("/usr/bin/softtoken");
  show("hv");
  EXPECT_EQ(caption("hvlaunch"), "Add to \"Login Items\"");
}

TEST_F(HelpTest, OnlyWebPagesAreOpened) {
  setSettings("GettingStartedURL=file:///usr/bin/xterm\nEnrolURL=smb://srv/x\n");
  show("hv");
  click("hvgs");
  click("hvmanage");
  EXPECT_EQ(opened_pages, Lines());
  ASSERT_EQ(alerts.seen.size(), 2U);
  EXPECT_NE(alerts.seen[0].text.find("file:///usr/bin/xterm"), std::string::npos);
  EXPECT_NE(alerts.seen[1].text.find("smb://srv/x"), std::string::npos);
}

TEST_F(HelpTest, GettingStartedOpensItsPage) {
  setSettings("GettingStartedURL=https://Srv/Start?a=b\n");
  show("hv");
  clearTrace();
  click("hvgs");
  EXPECT_EQ(opened_pages, (Lines{"https://Srv/Start?a=b"}));
  EXPECT_EQ(openView(), "hv");
  EXPECT_EQ(traced({"HV : "}), (Lines{"HV : gsclicked: begin", "HV : gsclicked: end"}));
}

TEST_F(HelpTest, ManageOpensTheEnrolmentPage) {
  setSettings("EnrolURL=HTTPS://Srv/TaEnrol\n");
  show("hv");
  clearTrace();
  click("hvmanage");
  EXPECT_EQ(opened_pages, (Lines{"https://srv/taenrol/enrol.exe?SoftTokenMode=7200"}));
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(traced({"HV : "}), (Lines{"HV : manageclicked: begin", "HV : manageclicked: end"}));
}

TEST_F(HelpTest, ManageWithoutAnAddressSaysSo) {
  show("hv");
  click("hvmanage");
  EXPECT_EQ(opened_pages, Lines());
  EXPECT_EQ(alerts.texts(), (Lines{"No enrol URL configured"}));
}

TEST_F(HelpTest, AddressInTheDefaultsDoesNotCount) {
  defaults.values["EnrolURL"] = "https://srv";
  show("hv");
  click("hvmanage");
  EXPECT_EQ(opened_pages, Lines());
  EXPECT_EQ(alerts.texts(), (Lines{"No enrol URL configured"}));
}

TEST_F(HelpTest, AboutText) {
  show("hv");
  clearTrace();
  click("hvabout");
  EXPECT_EQ(alerts.texts(),
            (Lines{"Version " SOFTTOKEN_VERSION "\n\nMade by the Talvane developers\n\n"
                   "https://talvane.example/"}));
  EXPECT_EQ(traced({"HV : "}), (Lines{"HV : aboutclicked: begin", "HV : aboutclicked: end"}));
}

TEST_F(HelpTest, ExitEndsTheProgram) {
  show("hv");
  clearTrace();
  QTimer::singleShot(0, [] { button("hvexit")->click(); });
  bool hung = false;
  QTimer watchdog;
  watchdog.setSingleShot(true);
  QObject::connect(&watchdog, &QTimer::timeout, [&hung] {
    hung = true;
    QCoreApplication::exit(1);
  });
  watchdog.start(5000);
  EXPECT_EQ(QCoreApplication::exec(), 0);
  EXPECT_FALSE(hung);
  EXPECT_EQ(traced({"HV : "}), (Lines{"HV : exitclicked: begin", "HV : exitclicked: end"}));
}

TEST_F(HelpTest, HomeLeadsToTheTokenView) {
  show("hv");
  clearTrace();
  click("hvhome");
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(traced({"HV : "}), (Lines{"HV : cancelclicked: begin", "HV : cancelclicked: end"}));
}

}  // namespace
}  // namespace talvane
