#pragma once

#include <memory>

#include "zemra/toolbox/zmapi_toolbox.h"

namespace ZEMRA::Vibration {

/// A taper over n > 1 points: Window(j) is the weight of point j, 0 ≤ j < n.
class cWindow {
  public:
    virtual ~cWindow() = default;
    virtual double Window(int j) const = 0;

  protected:
    explicit cWindow(int n) : n_(n) {}
    cWindow(const cWindow&) = default;
    cWindow& operator=(const cWindow&) = default;

    int n_;
};

/// 0.54 − 0.46·cos(2πj/(n − 1)).
class cWindowHamming : public cWindow {
  public:
    explicit cWindowHamming(int n);
    double Window(int j) const override;

  private:
    double d_;
};

/// 0.5·(1 − cos(2πj/(n − 1))), which is zero at both ends.
class cWindowHanning : public cWindow {
  public:
    explicit cWindowHanning(int n);
    double Window(int j) const override;

  private:
    double d_;
};

/// The triangle 1 − |(j − (n − 1)/2)/((n + 1)/2)|, which would reach zero one point outside the
/// ends. (Press et al., Numerical Recipes, call it Parzen's; Parzen's own window is cubic.)
class cWindowParzen : public cWindow {
  public:
    explicit cWindowParzen(int n);
    double Window(int j) const override;

  private:
    double a_, b_;  // n − 1 and n + 1
};

/// The parabola 1 − ((j − (n − 1)/2)/((n + 1)/2))², with the zeros of the triangle.
class cWindowWelch : public cWindow {
  public:
    explicit cWindowWelch(int n);
    double Window(int j) const override;

  private:
    double a_, b_;
};

/// The chosen window over n points; null for WINDOW_NONE.
/// Throws Error "FFT: Window type not known." for a value that is none of the enumerators.
std::unique_ptr<cWindow> MakeWindow(ZmAPI_ToolBox::eWindow window, int n);

}  // namespace ZEMRA::Vibration
