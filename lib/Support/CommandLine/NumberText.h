// NumberText.h - the numbers that users write as values of options: a prefix of the text, and a
// unit where the option means a quantity.

#ifndef ORVY_LIB_NUMBERTEXT_H
#define ORVY_LIB_NUMBERTEXT_H

#include "orvy/Support/Commands.h"
#include "orvy/Support/OutStream.h"

#include <string>

namespace orvy::cl {

template <typename Number> struct NumberText {
  Number Value = 0;
  size_t Length = 0;  ///< characters that were read; 0 if no number of the type begins the text
  bool IsCut = false; ///< the number is above the largest of the type, which stands for it
};

/// Warns on the error stream where the value of an option, as it was read, is not all that it says.
template <typename Number> void warnOfRest(const Option &Opt, const NumberText<Number> &Read) {
  if (Read.IsCut)
    errs() << "warning: '" << Opt.Name << "=" << Opt.Value << "' is too large, using " << Read.Value
           << "\n";
  if (Read.Length < Opt.Value.size())
    errs() << "warning: '" << Opt.Value.substr(Read.Length) << "' in '" << Opt.Name << "="
           << Opt.Value << "' is ignored\n";
}

/// Reads an integer as strtol does with base 0; above INT64_MAX up to UINT64_MAX it is cut.
NumberText<long> readInteger(const std::string &Text, orvy_OptionUnit Unit);
/// Reads a real number as strtod does.
NumberText<double> readReal(const std::string &Text, orvy_OptionUnit Unit);

} // namespace orvy::cl

#endif
