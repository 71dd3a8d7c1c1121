#pragma once

#include "platform/Panels.h"

class QFileDialog;
class QString;
class QWidget;

namespace quillet::platform::qt {

/// The desktop's file dialogs, or Qt's dialogs if the desktop has none, and Qt's message boxes.
/// Main thread only.
class QtPanels final : public Panels {
 public:
  /// @param parent  the window that the panels belong to; it must outlive this object
  explicit QtPanels(QWidget& parent) : parent_(parent) {}

  /// The desktop's dialog lists all files. Qt's dialog does not list `omitted`.
  std::optional<std::string> RunSavePanel(const std::string& folder, const std::string& name,
                                          const std::string& omitted) override;
  std::optional<std::string> RunOpenPanel(const std::string& folder,
                                          const std::string& name) override;
  std::optional<std::string> RunExportPanel(const std::string& title, const std::string& folder,
                                            const std::string& name) override;
  bool ConfirmSettings(const std::string& question,
                       const std::vector<std::string>& effects) override;

 private:
  QWidget& parent_;
};

}  // namespace quillet::platform::qt
