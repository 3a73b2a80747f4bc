#include "orvy/Support/Checkpoint.h"

#include "Base/ActiveRun.h"
#include "Base/InternalError.h"
#include "Checkpoint/CheckpointFile.h"
#include "Checkpoint/RunQuery.h"
#include "Objsys/ComponentModel.h"
#include "Objsys/ObjsysClass.h"
#include "Objsys/ObjsysValue.h"
#include "Objsys/PluginManager.h"
#include "orvy/Support/Containers.h"
#include "orvy/Support/Interfaces.h"
#include "orvy/Support/Logging.h"
#include "orvy/Support/Notifications.h"
#include "orvy/Support/OutStream.h"
#include "orvy/Support/Plugins.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

using namespace orvy;
using namespace orvy::checkpoint;
using namespace orvy::objsys;

namespace {

/// The values saved under a name.
struct Values {
  orvy_Type Typ;
  Entries Data;

  explicit Values(const Json &Node)
      : Typ(stringToTypeId(Node.at("type").get_ref<const std::string &>())), Data(Node.at("data")) {
  }
};

/// The node that the running serialise or deserialise function of a model works on. Only this one
/// may hold packed arrays: all other contexts belong to the caller.
class OwnContext {
public:
  explicit OwnContext(Json &Node) : Outer(Innermost), Node(&Node) { Innermost = this; }
  ~OwnContext() { Innermost = Outer; }
  OwnContext(const OwnContext &) = delete;
  OwnContext &operator=(const OwnContext &) = delete;

  static OwnContext *find(const void *Ctxt) {
    return Innermost && Innermost->Node == Ctxt ? Innermost : nullptr;
  }

  /// The values under a name. Models fetch them one at a time, so the last look-up is cached.
  const Values &at(const char *Name) {
    if (!Found || LastName != Name) {
      Found.emplace(Node->at(Name));
      LastName = Name;
    }
    return *Found;
  }
  void forget() { Found.reset(); }

private:
  static inline OwnContext *Innermost = nullptr;

  OwnContext *Outer;
  Json *Node;
  std::string LastName;
  std::optional<Values> Found;
};

OutStream &printError() {
  errs().changeColor(OutStream::Red, false) << "error";
  return errs().resetColor() << ": ";
}

int reportLibrary(const Json::exception &Why) {
  printError() << Why.what() << " id = " << Why.id << "\n";
  return 1;
}

using RunQuery = bool (*)();
constinit RunQuery RunQueries[4] = {};

/// Whether a run or step is in progress, which would continue with disposed objects. A processor
/// that a host runs through its own table is detected only from one of its events or callbacks.
bool isRunning(const char *What) {
  if (!ActiveRun::isAny() &&
      std::ranges::none_of(RunQueries, [](auto Query) { return Query && Query(); }))
    return false;
  orvy_logError(nullptr, "cannot %s a checkpoint: a run is in progress", What);
  return true;
}

const ObjectIface *objectIface(const Class &Cls) {
  const IfaceInstance *Iface = Cls.getInterface("ObjectIface");
  return Iface ? static_cast<const ObjectIface *>(Iface->at(0)) : Cls.Saved;
}

// Saving

void serialiseProperty(Json &Node, void *Obj, const Property &Prop, Form F) {
  try {
    if (Json Value = propertyNode(Prop, Obj, F); !Value.is_null())
      Node[Prop.Name] = std::move(Value);
    if (LostReferences Lost = takeLostReferences(); Lost.Count)
      orvy_logError(Obj, "property '%s': %zu reference(s) are saved as null: %s", Prop.Name.c_str(),
                    Lost.Count, Lost.First.c_str());
  } catch (const std::exception &Why) {
    errs() << "error serialising property\n";
    orvy_logError(Obj, "property '%s' is not saved: %s", Prop.Name.c_str(), Why.what());
  }
}

Json extraOf(const Class &Cls, void *Obj, const char *Path) {
  Json Extra;
  const ObjectIface *Iface = objectIface(Cls);
  if (!Iface || !Iface->serialise)
    return Extra;
  OwnContext Guard(Extra);
  Iface->serialise(Obj, Path, &Extra);
  return Extra;
}

Json entryOf(const Class &Cls, void *Obj, const char *Path) {
  Json Properties = Json::object();
  {
    const component::WithoutGone Guard(Obj);
    for (const auto &[Name, Prop] : Cls.Properties)
      serialiseProperty(Properties, Obj, *Prop, Form::Packed);
  }
  Json Entry = {{"className", Cls.Name}};
  Entry["properties"] = std::move(Properties);
  Entry["extra"] = extraOf(Cls, Obj, Path);
  return Entry;
}

/// Logs the object if one of its texts is not UTF-8: the library's error only names the byte.
void writeEntry(Writer &Text, const std::string &Name, void *Obj, const char *Path) {
  try {
    Text.string(Name);
    Text.text(": ");
    Text.value(entryOf(*Class::classForObject(Obj), Obj, Path), 4);
  } catch (const Json::exception &) {
    orvy_logError(Obj, "cannot be saved: it holds a text that is not UTF-8");
    throw;
  }
}

void save(const char *Path) {
  const Json Plugins = getLoadedPlugins();
  ReplacementFile File(Path);
  Writer Text(File);
  Text.text("{\n  \"objects\": {");
  // A model's function may create and dispose of objects.
  const char *Separator = "\n    ";
  const NameMap<void *> &Objects = Class::objects();
  for (auto Next = Objects.begin(); Next != Objects.end();) {
    const auto [Name, Obj] = *Next;
    Text.text(std::exchange(Separator, ",\n    "));
    writeEntry(Text, Name, Obj, Path);
    Next = Objects.upper_bound(Name);
  }
  Text.text("\n  },\n  \"plugins\": ");
  Text.value(Plugins, 2);
  Text.text("\n}\n");
  Text.flush();
  File.commit();
}

// Restoring

/// Stops a restore. The thrower has logged the reason.
struct Stopped {};

void loadPlugins(const Json &Names) {
  for (const Json &Each : Names.get_ref<const Json::array_t &>()) {
    const auto &Name = Each.get_ref<const std::string &>();
    if (getLoadedPlugins().contains(Name))
      continue;
    // 1 means that the file is loaded under another name, except on the old route.
    int Result = orvy_loadPlugin(Name.c_str());
    bool IsThere = Result == 1 && !std::getenv("ORVY_OLD_PLUGIN_LOADING_BEHAVIOUR");
    if (Result != 0 && !IsThere)
      orvy_logError(nullptr, "could not load plugin '%s'", Name.c_str());
  }
}

using Objects = Json::object_t;

/// A required member of an object's entry. Logs the object if it is missing: the library's error
/// does not name it.
Json &memberOf(Json &Entry, const std::string &Name, const char *Key) {
  try {
    return Entry.at(Key);
  } catch (const Json::exception &) {
    orvy_logError(nullptr, "the checkpoint's entry of object '%s' is damaged", Name.c_str());
    throw;
  }
}

void createObjects(Objects &Entries) {
  for (auto &[Name, Entry] : Entries) {
    const auto &ClassName = memberOf(Entry, Name, "className").get_ref<const std::string &>();
    if (!Class::objectForName(Name) && ClassName != "Simulator")
      orvy_createObject(ClassName.c_str(), Name.c_str(), nullptr);
    if (Class::objectForName(Name))
      continue;
    const Class *Cls = Class::classForName(ClassName);
    const char *Hint = !Cls            ? ": no loaded plug-in has this class"
                       : Cls->External ? ": it is the host's, which adds it ahead of the restore"
                                       : "";
    orvy_logError(nullptr, "cannot restore object '%s' of class '%s'%s", Name.c_str(),
                  ClassName.c_str(), Hint);
    throw Stopped();
  }
}

/// The object of an entry. A model's function may have disposed of it since it was created.
void *objectOf(const std::string &Name) {
  if (void *Obj = Class::objectForName(Name))
    return Obj;
  orvy_logError(nullptr, "object '%s' has gone while it was restored", Name.c_str());
  throw Stopped();
}

void setProperties(Objects &Entries) {
  for (auto &[Name, Entry] : Entries) {
    void *Obj = objectOf(Name);
    Json &Properties = memberOf(Entry, Name, "properties");
    for (const auto &Each : Properties.get_ref<const Objects &>())
      orvy_deserialiseProp(&Properties, Obj, Each.first.c_str());
    Properties = nullptr; // free the memory early
  }
}

void restoreExtras(Objects &Entries, const char *Path) {
  for (auto &[Name, Entry] : Entries) {
    void *Obj = objectOf(Name);
    Json &Extra = memberOf(Entry, Name, "extra");
    const ObjectIface *Iface = objectIface(*Class::classForObject(Obj));
    if (Iface && Iface->deserialise) {
      OwnContext Guard(Extra);
      Iface->deserialise(Obj, Path, &Extra);
    }
    Extra = nullptr;
  }
}

/// The host's objects, by name and class. Clearing unregisters them, and only the host can create
/// them.
class ExternalObjects {
public:
  ExternalObjects() {
    for (const auto &[Name, Obj] : Class::objects())
      if (const Class *Cls = Class::classForObject(Obj); Cls->External)
        Known.push_back({Cls->Name, Name, Obj});
  }
  /// Registers those again that the checkpoint has.
  void addAgain(const Objects &Entries) const {
    for (const auto &[ClassName, Name, Obj] : Known)
      if (auto Entry = Entries.find(Name); Entry != Entries.end() && Entry->second.is_object() &&
                                           Entry->second.value("className", Json()) == ClassName)
        Class::addObject(ClassName.c_str(), Name.c_str(), Obj);
  }

private:
  struct External {
    std::string ClassName, Name;
    void *Obj;
  };
  std::vector<External> Known;
};

UniqueDescriptor openForReading(const char *Path) {
  return UniqueDescriptor(retryOnSignal([=] { return open(orEmpty(Path), O_RDONLY | O_CLOEXEC); }));
}

/// Builds the system of a document after all objects were cleared.
void build(Json &Document, const char *Path, const ExternalObjects &Externals) {
  loadPlugins(Document.at("plugins"));
  auto &Entries = Document.at("objects").get_ref<Objects &>();
  Externals.addAgain(Entries);
  createObjects(Entries);
  setProperties(Entries);
  component::adoptRestored();
  restoreExtras(Entries, Path);
  orvy_notify(orvy_publishNotification("orvy.checkpointRestored", nullptr), nullptr);
}

/// The properties of the simulator, which is not cleared. They are restored if the file is refused.
class SimulatorSettings {
public:
  SimulatorSettings() : Saved(Json::object()) {
    if (void *Sim = Class::objectForName("sim"))
      for (const auto &[Name, Prop] : Class::classForObject(Sim)->Properties)
        if (Name != "time" && Name != "currentCPU" && Prop->Typ != ovTY_Obj)
          Saved[Name] = propertyNode(*Prop, Sim, Form::Plain);
  }
  void putBack() const {
    void *Sim = Class::objectForName("sim");
    for (const auto &[Name, Node] : Saved.get_ref<const Objects &>())
      if (const Property *Prop =
              Sim && !Node.is_null() ? Class::classForObject(Sim)->getProperty(Name) : nullptr)
        restoreProperty(*Prop, Sim, Node);
  }

private:
  Json Saved;
};

/// Clears a half-restored system.
int giveUp(const SimulatorSettings &Settings) {
  component::adoptRestored(); // the lists of parts may be restored already
  Class::clearObjects();
  Settings.putBack();
  return 1;
}

void complain(const char *Path) {
  errs() << "could not load the file '" << orEmpty(Path) << "'\n";
}

/// Clears the system and builds that of the document. ReadDocument returns nothing if the file
/// cannot be opened; the system is empty then.
template <typename Read> int replaceObjects(const char *Path, Read ReadDocument) {
  const SimulatorSettings Settings;
  const ExternalObjects Externals;
  try {
    Class::clearObjects();
    if (std::optional<Json> Document = ReadDocument())
      build(*Document, Path, Externals);
    return 0;
  } catch (const Json::exception &Why) {
    reportLibrary(Why);
  } catch (const std::exception &) {
    complain(Path);
  } catch (const Stopped &) {
    complain(Path);
  }
  return giveUp(Settings);
}

/// Throws if the document does not have the shape of a checkpoint.
void checkShape(Json &Document) {
  for (const Json &Name : Document.at("plugins").get_ref<const Json::array_t &>())
    Name.get_ref<const std::string &>();
  for (auto &[Name, Entry] : Document.at("objects").get_ref<Objects &>()) {
    memberOf(Entry, Name, "className").get_ref<const std::string &>();
    memberOf(Entry, Name, "properties").get_ref<const Objects &>();
    memberOf(Entry, Name, "extra");
  }
}

/// Throws on an unknown type, which would end the process later.
void checkTypes(const Json &Document) {
  for (const auto &[Name, Entry] : Document.at("objects").items())
    for (const auto &[PropName, Node] : Entry.at("properties").items())
      if (const auto Type = Node.is_object() ? Node.find("type") : Node.end();
          Type != Node.end() && Type->is_string() &&
          stringToTypeId(Type->get_ref<const std::string &>()) == ovTY_Invalid)
        throw std::runtime_error("'" + Name + "." + PropName + "' has the unknown type '" +
                                 Type->get<std::string>() + "'");
}

void deserialiseProperty(const Json &Properties, void *Obj, const char *PropName) {
  const Json &Node = Properties.at(PropName);
  const auto &TypeName = Node.at("type").get_ref<const std::string &>();
  if (stringToTypeId(TypeName) == ovTY_Invalid)
    orvy_logFatal(Obj, "invalid deserialisation");
  const Class *Cls = Class::classForObject(Obj);
  const Property *Prop = Cls ? Cls->getProperty(PropName) : nullptr;
  if (!Prop)
    throw Unfit("there is no such property");
  takeLostReferences();
  restoreProperty(*Prop, Obj, Node);
  if (LostReferences Lost = takeLostReferences(); Lost.Count)
    orvy_logError(Obj, "property '%s': %zu reference(s) are null now: %s", PropName, Lost.Count,
                  Lost.First.c_str());
}

// Functions for models

Json &nodeOf(void *Ctxt) {
  ORVY_REQUIRE(Ctxt);
  return *static_cast<Json *>(Ctxt);
}

Values valuesAt(void *Ctxt, const char *Name) {
  OwnContext *Own = OwnContext::find(Ctxt);
  return Own ? Own->at(Name) : Values(nodeOf(Ctxt).at(Name));
}

/// Prepares a context for writing.
Form formOf(void *Ctxt) {
  OwnContext *Own = OwnContext::find(Ctxt);
  if (Own)
    Own->forget();
  return Own ? Form::Packed : Form::Plain;
}

orvy_Propval stringValue(const Entries &Data, size_t Idx) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_String;
  const char *Text = textAt(Data, Idx);
  if (std::strcmp(Text, NullString) != 0 && !(Pv.String = strdup(Text)))
    throw std::bad_alloc();
  return Pv;
}

orvy_Propval emptyVector(const Json &Node) {
  orvy_Propval Pv = {};
  Pv.Typ = ovTY_Vector;
  orvy_Type Typ = stringToTypeId(Node.at("elemtype").get_ref<const std::string &>());
  if (Typ == ovTY_Invalid || Typ == ovTY_IfaceRefArray || Typ == ovTY_List)
    throw Unfit("it holds a vector of an unknown type");
  Pv.Vector = orvy_vecCreate(Typ);
  return Pv;
}

orvy_Propval checkpointValue(const Values &Saved, uint32_t Idx) {
  const Entries &Data = Saved.Data;
  if (Saved.Typ >= ovTY_U8 && Saved.Typ <= ovTY_I64)
    return numberAt(Data, Saved.Typ, Idx);
  orvy_Propval Pv = {};
  Pv.Typ = Saved.Typ;
  switch (Saved.Typ) {
  case ovTY_Obj:
    Pv.Obj = objectAt(Data, Idx);
    return Pv;
  case ovTY_IfaceRef:
    Pv.IfaceRef = ifaceAt(Data, Idx);
    return Pv;
  case ovTY_String:
    return stringValue(Data, Idx);
  case ovTY_Buffer:
    Pv.Buffer = bytesFrom(Data.at(Idx));
    return Pv;
  case ovTY_Vector:
    return emptyVector(Data.at(Idx));
  default:
    return {};
  }
}

} // namespace

int orvy_serialiseJSON(const char *Path) {
  if (isRunning("save"))
    return 1;
  try {
    save(orEmpty(Path));
    return 0;
  } catch (const Json::exception &Why) {
    return reportLibrary(Why);
  } catch (const std::system_error &Why) {
    orvy_logError(nullptr, "cannot write checkpoint '%s': %s", orEmpty(Path),
                  Why.code().message().c_str());
  } catch (const std::exception &) {
  }
  printError() << "serialisation failed\n";
  return 1;
}

int orvy_deserialiseJSON(const char *Path) {
  if (isRunning("restore"))
    return 1;
  return replaceObjects(Path, [=]() -> std::optional<Json> {
    UniqueDescriptor File = openForReading(Path);
    return File.isOpen() ? std::optional(readDocument(File.get())) : std::nullopt;
  });
}

void orvy::checkpoint::addRunQuery(bool (*IsRunning)()) {
  auto *Free = std::ranges::find(RunQueries, nullptr);
  ORVY_REQUIRE(Free != std::end(RunQueries));
  *Free = IsRunning;
}

int orvy::checkpoint::restoreIfCheckpoint(const char *Path) {
  if (isRunning("restore"))
    return 1;
  std::optional<Json> Document;
  try {
    UniqueDescriptor File = openForReading(Path);
    if (!File.isOpen())
      throw std::system_error(errno, std::generic_category());
    Document = readDocument(File.get());
    checkShape(*Document);
    checkTypes(*Document);
  } catch (const std::system_error &Why) {
    errs() << "cannot read '" << Path << "': " << Why.code().message()
           << "; all objects stay as they are\n";
    return 1;
  } catch (const std::exception &Why) {
    errs() << "'" << Path << "' is not a checkpoint: " << Why.what()
           << "; all objects stay as they are\n";
    return 1;
  }
  return replaceObjects(Path, [&] { return std::move(Document); });
}

void orvy_serialiseProp2(void *Ctxt, void *Obj, const char *PropName) {
  const Class *Cls = Class::classForObject(Obj);
  const Property *Prop = Cls && PropName ? Cls->getProperty(PropName) : nullptr;
  if (!Prop) {
    errs() << "error serialising property\n";
    return;
  }
  serialiseProperty(nodeOf(Ctxt), Obj, *Prop, formOf(Ctxt));
}

void orvy_serialiseProp(void *Ctxt, const char *Name, orvy_Type Typ, int Count, const void *Data) {
  if (!Data || !typeIdToString(Typ))
    return;
  try {
    Json &Node = nodeOf(Ctxt);
    Node[orEmpty(Name)] = arrayNode(Typ, Count < 1 ? 0 : Count, Data, formOf(Ctxt));
  } catch (const std::exception &) {
    errs() << "error serialising property\n";
  }
}

void orvy_deserialiseProp(void *Ctxt, void *Obj, const char *PropName) {
  try {
    deserialiseProperty(nodeOf(Ctxt), Obj, orEmpty(PropName));
  } catch (const Json::exception &Why) {
    reportLibrary(Why);
    orvy_logInfo(Obj, "property '%s' keeps its value", orEmpty(PropName));
  } catch (const std::exception &Why) {
    orvy_logError(Obj, "deserialisation failed for property '%s'", orEmpty(PropName));
    orvy_logInfo(Obj, "property '%s': %s", orEmpty(PropName), Why.what());
  }
}

int orvy_checkpointGetLength(void *Ctxt, const char *Name) {
  try {
    const Values Saved = valuesAt(Ctxt, orEmpty(Name));
    bool IsWide = Saved.Typ == ovTY_U64 || Saved.Typ == ovTY_I64;
    return static_cast<int>(IsWide ? Saved.Data.size() / 2 : Saved.Data.size());
  } catch (const std::exception &) {
    return -1;
  }
}

orvy_Propval orvy_checkpointGetValue(void *Ctxt, const char *Name, uint32_t Idx) {
  try {
    return checkpointValue(valuesAt(Ctxt, orEmpty(Name)), Idx);
  } catch (const std::exception &) {
    orvy_logError(nullptr, "get checkpoint value failed for '%s'[%d]", orEmpty(Name),
                  static_cast<int>(Idx));
    return {};
  }
}
