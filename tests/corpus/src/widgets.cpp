// A C++ module as a modern compiler emits it: inline functions and
// template instances go into COMDAT groups (one .group section each),
// names are mangled in the Itanium scheme, and a class has a virtual
// table.  Built without exceptions or run-time type information.

struct Widget {
  int width = 1, height = 1;
  virtual ~Widget() {}
  virtual int area() const { return width * height; }
  static int created;
};

int Widget::created = 0;

template <typename T> T clamp_to(T v, T lo, T hi)
{
  return v < lo ? lo : (v > hi ? hi : v);
}

namespace layout {
int fit(const Widget &w, int limit)
{
  return clamp_to<int>(w.area(), 0, limit) + clamp_to<short>(short(limit), 0, 100);
}
} // namespace layout

extern "C" int widgets_made(void)
{
  Widget w;
  ++Widget::created;
  return layout::fit(w, 50);
}
