#pragma once

#include <optional>
#include <string>

namespace quillet::platform {

/// The desktop's own panels for choosing a file. Each call runs a panel until the user has ended
/// it; the main loop goes on meanwhile, and the program's windows take no input. Main thread.
///
/// Paths and names are UTF-8. Where `folder` does not exist, a panel begins where the desktop keeps
/// what is looked for: a save panel at the user's documents, an open panel at the applications or,
/// where there is no such place, at the documents too.
class Panels {
 public:
  virtual ~Panels() = default;

  /// Lets the user choose where something shall be saved. Nothing is written.
  /// @param folder  absolute path of the folder that is shown first
  /// @param name    the file name that is proposed, whether or not such a file exists
  /// @return the absolute path, or nothing when the panel was not ended with its OK button.
  virtual std::optional<std::string> RunSavePanel(const std::string& folder,
                                                  const std::string& name) = 0;

  /// Lets the user choose an existing file.
  /// @param folder  absolute path of the folder that is shown first
  /// @param name    the file that is selected first, if the folder holds it
  /// @return as RunSavePanel.
  virtual std::optional<std::string> RunOpenPanel(const std::string& folder,
                                                  const std::string& name) = 0;
};

}  // namespace quillet::platform
