// PropertyAssignment.h - "@object.property=value", as a user writes it.

#ifndef ORVY_LIB_PROPERTYASSIGNMENT_H
#define ORVY_LIB_PROPERTYASSIGNMENT_H

#include <string>
#include <string_view>

namespace orvy::cl {

/// Writes a property like propSet, but takes the value only as a whole, with a base prefix too, and
/// says what is wrong; the empty text if nothing is. Target begins with the '@'.
std::string assignProperty(std::string_view Target, const std::string &Value);

} // namespace orvy::cl

#endif
