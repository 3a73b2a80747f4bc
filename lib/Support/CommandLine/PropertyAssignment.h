// PropertyAssignment.h - assignments of the form "@object.property=value".

#ifndef ORVY_LIB_PROPERTYASSIGNMENT_H
#define ORVY_LIB_PROPERTYASSIGNMENT_H

#include <string>
#include <string_view>

namespace orvy::cl {

/// Writes a property like propSet, but also accepts a base prefix and rejects a value that is not
/// read as a whole. Returns the error, or an empty text. Target begins with the '@'.
std::string assignProperty(std::string_view Target, const std::string &Value);

} // namespace orvy::cl

#endif
