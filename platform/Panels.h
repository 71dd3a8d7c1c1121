#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quillet::platform {

/// File dialogs and questions. Each call runs a modal dialog until the user closes it; the main
/// loop continues to run. Paths and names are UTF-8. Main thread.
///
/// If `folder` does not exist, a save panel starts in the user's documents folder. An open panel
/// starts in the applications folder, or in the documents folder if the system has no applications
/// folder.
class Panels {
 public:
  virtual ~Panels() = default;

  /// Lets the user choose a path for a file. Writes nothing.
  /// @param folder   absolute path of the initial folder
  /// @param name     suggested file name; the file need not exist
  /// @param omitted  absolute path of a file to hide from the list, if possible; the user can still
  ///                 type its name
  /// @return the absolute path, or no value if the user cancels
  virtual std::optional<std::string> RunSavePanel(const std::string& folder,
                                                  const std::string& name,
                                                  const std::string& omitted) = 0;

  /// Lets the user choose an existing file.
  /// @param folder  absolute path of the initial folder
  /// @param name    file selected initially, if it is in `folder`
  /// @return the absolute path, or no value if the user cancels
  virtual std::optional<std::string> RunOpenPanel(const std::string& folder,
                                                  const std::string& name) = 0;

  /// Lets the user choose a path for a file to be written immediately. Asks before replacing an
  /// existing file.
  /// @param title   title of the dialog
  /// @param folder  absolute path of the initial folder
  /// @param name    proposed file name
  /// @return the absolute path, or no value if the user cancels
  virtual std::optional<std::string> RunExportPanel(const std::string& title,
                                                    const std::string& folder,
                                                    const std::string& name) = 0;

  /// Asks the user whether to use settings that another user has chosen.
  /// @param question  one sentence
  /// @param effects   what the settings would do, one line each; may contain long paths
  /// @return true if the user agrees; the default answer is no
  virtual bool ConfirmSettings(const std::string& question,
                               const std::vector<std::string>& effects) = 0;
};

}  // namespace quillet::platform
