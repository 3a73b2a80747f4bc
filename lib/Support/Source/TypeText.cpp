// Types as C writes them.

#include "Source/Types.h"

using namespace orvy::source;

namespace {

constexpr unsigned MaxNesting = 32; // of declarators

const char *qualifier(TypeKind Kind) {
  switch (Kind) {
  case TypeKind::Const:
    return "const";
  case TypeKind::Volatile:
    return "volatile";
  case TypeKind::Restrict:
    return "restrict";
  case TypeKind::Atomic:
    return "_Atomic";
  default:
    return nullptr;
  }
}

bool isDerived(TypeKind Kind) {
  return Kind == TypeKind::Pointer || Kind == TypeKind::Reference || Kind == TypeKind::Array ||
         Kind == TypeKind::Function;
}

/// A type under its qualifiers.
struct Qualified {
  explicit Qualified(const Type &T) : Under(&T) {
    for (unsigned Hops = 0; qualifier(Under->Kind) && Hops < MaxNesting; ++Hops) {
      IsConst |= Under->Kind == TypeKind::Const;
      IsVolatile |= Under->Kind == TypeKind::Volatile;
      IsRestrict |= Under->Kind == TypeKind::Restrict;
      IsAtomic |= Under->Kind == TypeKind::Atomic;
      Under = &Under->target();
    }
  }
  std::string words(const char *Before, const char *After) const {
    std::string Text;
    const std::pair<bool, const char *> Words[] = {{IsConst, "const"},
                                                   {IsVolatile, "volatile"},
                                                   {IsRestrict, "restrict"},
                                                   {IsAtomic, "_Atomic"}};
    for (const auto &[IsThere, Word] : Words)
      if (IsThere)
        Text += std::string(Before) + Word + After;
    return Text;
  }

  const Type *Under;
  bool IsConst = false, IsVolatile = false, IsRestrict = false, IsAtomic = false;
};

/// Builds a declaration from the inside to the outside: Inner is what the type is said of.
std::string declare(const Type &T, std::string Inner, unsigned Nesting);

std::string parametersOf(const Type &T, unsigned Nesting) {
  std::string Text;
  for (const Type *Parameter : T.parameters())
    Text += (Text.empty() ? "" : ", ") + declare(*Parameter, "", Nesting + 1);
  if (T.IsVariadic)
    Text += Text.empty() ? "..." : ", ...";
  if (Text.empty() && T.IsPrototyped)
    Text = "void";
  return "(" + Text + ")";
}

std::string nameOf(const Type &T) {
  if (T.Kind == TypeKind::Void)
    return "void";
  if (T.Name.empty())
    return T.Tag.empty() ? "<unknown type>" : T.Tag + " {...}";
  return T.Tag.empty() || T.Tag == "class" ? T.Name : T.Tag + " " + T.Name;
}

std::string declare(const Type &T, std::string Inner, unsigned Nesting) {
  const Qualified Q(T);
  const Type &Under = *Q.Under;
  if (Nesting > MaxNesting)
    return "..." + Inner;
  if (!isDerived(Under.Kind)) {
    const bool IsGlued = Inner.empty() || Inner.front() == ' ';
    return Q.words("", " ") + nameOf(Under) + (IsGlued ? "" : " ") + Inner;
  }
  const Type &Target = Under.target();
  const TypeKind Below = Qualified(Target).Under->Kind;
  switch (Under.Kind) {
  case TypeKind::Array: {
    const std::string Bounds = Under.Count ? std::to_string(*Under.Count) : "";
    const char *Gap = Inner.empty() || Inner.front() == '[' ? " " : "";
    if (Under.IsVector)
      return declare(Target, Inner + " __attribute__ ((vector_size(" + Bounds + ")))", Nesting + 1);
    // The bounds of an array of arrays follow one another.
    return declare(Target, (Inner.empty() ? Gap : Inner) + ("[" + Bounds + "]"), Nesting + 1);
  }
  case TypeKind::Function:
    return declare(Target,
                   (Inner.empty() ? std::string(" ") : Inner) + parametersOf(Under, Nesting),
                   Nesting + 1);
  default: {
    std::string Star = Under.Kind == TypeKind::Reference ? "&" : "*";
    Star += Q.words(" ", "");
    if (!Inner.empty() && Inner.front() != '[' && Inner.front() != '(' && Inner.front() != ')' &&
        Star.size() > 1)
      Star += " ";
    Inner = Star + Inner;
    if (Below == TypeKind::Array || Below == TypeKind::Function)
      Inner = "(" + Inner + ")";
    return declare(Target, Inner, Nesting + 1);
  }
  }
}

} // namespace

std::string Type::text() const {
  return declare(*this, "", 0);
}

std::string Type::definition() const {
  const Type &T = unqualified().Kind == TypeKind::Typedef ? stripped() : unqualified();
  if (!T.isAggregate() && T.Kind != TypeKind::Enumeration)
    return declare(T, "", 0);
  std::string Text = T.Tag + (T.Name.empty() ? "" : " " + T.Name) + " {";
  if (T.Kind == TypeKind::Enumeration) {
    int64_t Next = 0;
    const char *Comma = "";
    for (const Enumerator &E : T.enumerators()) {
      Text += Comma + E.Name + (E.Value == Next ? "" : " = " + std::to_string(E.Value));
      Comma = ", ";
      Next = E.Value + 1;
    }
    return Text + "}";
  }
  Text += "\n";
  for (const Member &M : T.members()) {
    Text += "    " + declare(*M.Of, M.Name, 0);
    if (M.BitSize != 0)
      Text += " : " + std::to_string(M.BitSize);
    Text += ";\n";
  }
  return T.IsIncomplete ? T.text() + " (not described)" : Text + "}";
}
