// Pictures of the object system, as texts for programs that draw them.

#include "orvy/Support/ObjsysTools.h"

#include "Objsys/ObjsysClass.h"

#include "orvy/Support/Containers.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Propval.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace orvy;
using namespace orvy::objsys;

namespace {

// Where a picture goes

/// Runs a program to its end. Ignores one that cannot be started.
void runProgram(std::vector<std::string> Words) {
  std::vector<char *> Args;
  Args.reserve(Words.size() + 1);
  for (std::string &Word : Words)
    Args.push_back(Word.data());
  Args.push_back(nullptr);
  pid_t Child = 0;
  if (posix_spawnp(&Child, Args[0], nullptr, nullptr, Args.data(), environ) != 0)
    return;
  while (waitpid(Child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

/// Makes an empty file in the current directory. Returns its name, empty if there is none.
std::string makeFile() {
  std::string Name = "objsysOutDotXXXXXX";
  const int Descriptor = mkstemp(Name.data());
  if (Descriptor < 0)
    return {};
  close(Descriptor);
  return Name;
}

int deliver(const std::string &Text, const char *File, bool Display) {
  if (!File && !Display) {
    outs() << Text;
    return 0;
  }
  const std::string Name = File ? File : makeFile();
  if (!File && Name.empty())
    return 1;
  std::ofstream(Name, std::ios::trunc) << Text;
  if (Display) {
    runProgram({"dot", "-Tpng", "-O", Name});
    runProgram({"eog", Name + ".png"});
  }
  return 0;
}

// The graph of objects

/// The name of an object as an identifier of dot.
std::string nodeName(const char *Name) {
  std::string Node = Name ? Name : "";
  std::replace(Node.begin(), Node.end(), '-', '_');
  return Node;
}

class Graph {
public:
  std::string Text = "digraph Objsys {\n";

  void addObject(void *Obj) {
    const Class &Cls = *Class::classForObject(Obj);
    const std::string Name = Class::nameForObject(Obj);
    Node = nodeName(Name.c_str());
    Text += "\t" + Node + "[label=\"" + Name + ":" + Cls.Name + "\"];\n";
    // A Getter may dispose of its object, or have the class forgotten.
    std::vector<std::pair<std::string, size_t>> Found;
    for (const auto &[PropName, Prop] : Cls.Properties)
      if (Prop->Typ == ovTY_IfaceRef || Prop->Typ == ovTY_Vector)
        Found.emplace_back(PropName, Prop->Count);
    for (const auto &[PropName, Count] : Found)
      addProperty(Obj, PropName, Count);
  }

private:
  void addProperty(void *Obj, const std::string &Name, size_t Count) {
    for (size_t Index = 0; Index < Count; ++Index) {
      const orvy_Propval Value = orvy_getValue(Obj, Name.c_str(), static_cast<int>(Index));
      const std::string Element = std::to_string(Index);
      if (Value.Typ == ovTY_IfaceRef)
        addEdge(Value.IfaceRef, Count == 1 ? Name : Name + "[" + Element + "]");
      else if (Value.Typ == ovTY_Vector && Value.Vector.Typ == ovTY_IfaceRef)
        addEdges(Value.Vector, Name + "[" + Element + ",");
    }
  }

  void addEdges(orvy_Vector References, const std::string &Label) {
    const auto *Data = static_cast<const orvy_IfaceRef *>(orvy_vecGetData(&References));
    const size_t Size = orvy_vecGetSize(&References);
    for (size_t Index = 0; Index < Size; ++Index)
      addEdge(Data[Index], Label + std::to_string(Index) + "]");
  }

  void addEdge(const orvy_IfaceRef &To, const std::string &Label) {
    if (To.Obj)
      Text += "\t" + Node + " -> " + nodeName(Class::nameForObject(To.Obj)) + " [label=\"" + Label +
              "\"];\n";
  }

  std::string Node; ///< of the object that is described
};

} // namespace

int orvy_generateObjectGraph(const char *File, int Display) {
  Graph Objects;
  orvy_foreachObject([](void *Obj, void *Arg) { static_cast<Graph *>(Arg)->addObject(Obj); },
                     &Objects);
  return deliver(Objects.Text + "}\n", File, Display);
}

int orvy_generatePlantUML(const char *ClassName, const char *File, int Display) {
  const std::string Name = ClassName ? ClassName : "";
  std::string Text = "class " + Name + "{\n";
  if (const Class *Cls = Class::classForName(Name))
    for (const auto &[PropName, Prop] : Cls->Properties)
      Text += "  " + PropName + " : \n";
  return deliver(Text + "}\n", File, Display);
}
