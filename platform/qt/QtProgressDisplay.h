#pragma once

#include <string_view>

#include "platform/Controls.h"

class QLabel;
class QProgressBar;

namespace quillet::platform::qt {

/// A text with a bar beside it. Main thread only.
class QtProgressDisplay final : public ProgressDisplay {
 public:
  /// @param label  outlives this object, as does `bar`
  /// @param bar    shows how much is done; outlives this object
  QtProgressDisplay(QLabel& label, QProgressBar& bar);

  void Show(std::string_view text, double fraction) override;
  void Hide() override;

 private:
  QLabel& label_;
  QProgressBar& bar_;
};

}  // namespace quillet::platform::qt
