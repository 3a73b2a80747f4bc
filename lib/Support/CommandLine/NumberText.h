// NumberText.h - reads the value of a numeric option: a number at the start of the text, followed
// by a unit if the option is a quantity.

#ifndef ORVY_LIB_NUMBERTEXT_H
#define ORVY_LIB_NUMBERTEXT_H

#include "orvy/Support/Commands.h"
#include "orvy/Support/OutStream.h"

#include <string>

namespace orvy::cl {

template <typename Number> struct NumberText {
  Number Value = 0;
  size_t Length = 0;  ///< characters that were read; 0 if the text does not begin with a number
  bool IsCut = false; ///< the number was too large and is clamped to the largest of the type
};

/// Warns on the error stream if a part of an option's value was not read or the value was clamped.
template <typename Number> void warnOfRest(const Option &Opt, const NumberText<Number> &Read) {
  if (Read.IsCut)
    errs() << "warning: '" << Opt.Name << "=" << Opt.Value << "' is too large, using " << Read.Value
           << "\n";
  if (Read.Length < Opt.Value.size())
    errs() << "warning: '" << Opt.Value.substr(Read.Length) << "' in '" << Opt.Name << "="
           << Opt.Value << "' is ignored\n";
}

/// Reads an integer as strtol does with base 0, or an address by name. Numbers above INT64_MAX up to
/// UINT64_MAX are clamped.
NumberText<long> readInteger(const std::string &Text, orvy_OptionUnit Unit);
/// Reads a real number as strtod does.
NumberText<double> readReal(const std::string &Text, orvy_OptionUnit Unit);

} // namespace orvy::cl

#endif
