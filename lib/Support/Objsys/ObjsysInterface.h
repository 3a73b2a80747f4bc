// ObjsysInterface.h - the records of published interfaces and ports.

#ifndef ORVY_LIB_OBJSYSINTERFACE_H
#define ORVY_LIB_OBJSYSINTERFACE_H

#include "orvy/Support/Interfaces.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvy::objsys {

class Class;
class Property;

/// The type of interfaces that fit each other, known by its name alone.
struct IfaceType {
  std::string Name;

  /// The type of that name, made when a class first publishes an interface of it. It lives until
  /// exit.
  static IfaceType &get(const char *Name);

  static std::map<std::string, std::unique_ptr<IfaceType>, std::less<>> Interfaces;
};

/// A function table, or an array of them, published by a class.
struct IfaceInstance {
  std::string Name;
  std::string Doc;
  IfaceType *Type;
  std::vector<void *> Ifaces;
  std::vector<uint64_t> InPorts; ///< the ports of the class that it is part of

  /// The table at an index; null outside the array.
  void *at(int Idx) const {
    return static_cast<size_t>(Idx) < Ifaces.size() ? Ifaces[Idx] : nullptr;
  }
};

/// A property paired with an interface of the same class, for connections in both directions.
struct Port {
  Property *Prop;
  IfaceInstance *Iface;
  std::string Doc;
};

/// Writes "name <interface, interface>" and a newline to the standard output stream.
void PrintClassType(const Class &Cls);

} // namespace orvy::objsys

#endif
