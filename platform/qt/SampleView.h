#pragma once

#include "platform/qt/ReadOnlyText.h"

namespace quillet::platform::qt {

/// Shows a whole sample line, wrapped if necessary. The marks for invisible characters are
/// coloured.
class SampleView final : public ReadOnlyText {
 public:
  SampleView();

  /// Returns the size of one row. The width does not depend on the text.
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  void FitHeight();
  int HeightFor(int rows) const;

  class Marks;
  Marks* const marks_;
};

}  // namespace quillet::platform::qt
