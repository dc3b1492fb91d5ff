#pragma once

#include <QComboBox>
#include <QLineEdit>
#include <QString>

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "config/ini.h"
#include "enrol/enrol_flow.h"
#include "enrol/ta_enrol_client.h"
#include "ui/kit/text_label.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/shell.h"
#include "ui_questions_view.h"

namespace talvane {

/// Asks for what the server wants before it issues the token: a new PIN, answers to secret
/// questions, or both.
class QuestionsView final : public View {
 public:
  /// Borrows all.
  QuestionsView(Panel& panel, Shell& shell, const Ini& ini, EnrolFlow& flow);

  [[nodiscard]] int evgi_height();
  void evgi_init();
  void evgi_questionselected(const QComboBox* sender);
  void evgi_submitclicked();
  void evgi_cancelclicked();

  [[nodiscard]] EnrolViews::GetInfoInput input() const;
  void enableSubmit(bool enabled) { form_.evgi_submit->setEnabled(enabled); }

  [[nodiscard]] int height() override { return evgi_height(); }
  void init() override { evgi_init(); }
  void waits(bool waiting) override;
  void closed() override;
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.evgi_submit; }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.evgi_cancel; }

 private:
  void labelMenus();
  void fill(const TaEnrolClient& client);
  void fillMenu(std::size_t index, const std::optional<TaEnrolClient::Questions>& titles);
  void layOut(const TaEnrolClient& client, int height);
  void showEarlierAnswers(const TaEnrolClient& client);
  [[nodiscard]] std::optional<std::string> problemWithPin() const;
  void showPinProblem();
  [[nodiscard]] bool pinIsGood() const;
  [[nodiscard]] TextLabel* topLabel() const;
  [[nodiscard]] std::array<QComboBox*, 3> menus() const;
  [[nodiscard]] std::array<QLineEdit*, 3> answers() const;

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  EnrolFlow& flow_;
  Ui::QuestionsView form_;
  QString prompt_;  // that the wait replaces
};

}  // namespace talvane
