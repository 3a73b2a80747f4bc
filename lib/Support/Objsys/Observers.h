// Observers.h - what the layers above the object system do when objects go.

#ifndef ORVY_LIB_OBSERVERS_H
#define ORVY_LIB_OBSERVERS_H

namespace orvy::objsys {

/// Registers functions for the life of the process, as a static object of a layer above. They are called
/// in the order in which the observers were built, which is that of the sources in CMakeLists.txt.
class Observer {
public:
  /// @param Disposing  called with each object when its disposal begins, while it is registered; or null
  /// @param Cleared    called when the system was cleared, all but the simulator; or null
  Observer(void (*Disposing)(void *Obj), void (*Cleared)());
  Observer(const Observer &) = delete;
  Observer &operator=(const Observer &) = delete;

  static void notifyDisposing(void *Obj);
  static void notifyCleared();

private:
  static Observer *First;
  static Observer **End;

  void (*Disposing)(void *Obj);
  void (*Cleared)();
  Observer *Next = nullptr;
};

} // namespace orvy::objsys

#endif
