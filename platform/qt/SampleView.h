#pragma once

#include "platform/qt/ReadOnlyText.h"

namespace quillet::platform::qt {

/// Shows a sample line whole, over as many rows as it needs, with the marks for invisible
/// characters in a colour of their own, so that they are not taken for something that will be
/// written.
class SampleView final : public ReadOnlyText {
 public:
  SampleView();

  /// One row, however long the text is: it decides the height and never the width.
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

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
