// Checkpoints: what restores must save, and from that restore to the same again.
//
// Inputs that load plug-ins are passed over, and those with a type name that nobody knows, which
// end the process as they are meant to.

#include "Checkpoint/CheckpointNodes.h"
#include "Fuzz.h"
#include "Testing/Model.h"

#include <algorithm>
#include <iostream>
#include <sys/mman.h>
#include <unistd.h>

using namespace orvy;
using checkpoint::Json;

// Containers release neither texts nor containers in them: whoever knows what they hold does.
extern "C" const char *__asan_default_options() {
  return "detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb=64";
}

namespace {

const Json *member(const Json &Node, const char *Key) {
  auto Found = Node.is_object() ? Node.find(Key) : Node.end();
  return Found == Node.end() ? nullptr : &*Found;
}

bool hasUnknownType(const Json &Entry) {
  const Json *Properties = member(Entry, "properties");
  if (!Properties || !Properties->is_object())
    return false;
  for (const Json &Node : *Properties)
    if (const Json *Type = member(Node, "type"); Type && Type->is_string())
      if (checkpoint::stringToTypeId(Type->get_ref<const std::string &>()) == ovTY_Invalid)
        return true;
  return false;
}

bool isPassedOver(std::string_view Text) {
  const Json Document = Json::parse(Text, nullptr, false);
  const Json *Plugins = member(Document, "plugins");
  if (Plugins && !Plugins->empty())
    return true;
  const Json *Objects = member(Document, "objects");
  for (const Json &Entry : Objects ? *Objects : Json())
    if (hasUnknownType(Entry))
      return true;
  return false;
}

/// Takes everything back that a checkpoint may hold for a model.
void deserialise(void *, const char *, void *Ctxt) {
  for (const char *Name : {"a", "b"}) {
    int Length = orvy_checkpointGetLength(Ctxt, Name);
    for (int Idx = 0; Idx < std::min(Length, 100); ++Idx) {
      orvy_Propval Pv = orvy_checkpointGetValue(Ctxt, Name, static_cast<uint32_t>(Idx));
      if (Pv.Typ == ovTY_String)
        std::free(const_cast<char *>(Pv.String));
      else if (Pv.Typ == ovTY_Buffer)
        orvy_buffDispose(&Pv.Buffer);
      else if (Pv.Typ == ovTY_Vector)
        orvy_vecDispose(&Pv.Vector);
    }
  }
}

void setUp() {
  static ObjectIface Table = {nullptr, deserialise, nullptr, nullptr, nullptr};
  orvy_initConfigDirs();
  orvy_initSupportLib();
  orvy_logSetFunc([](const char *) {});
  std::cerr.setstate(std::ios::badbit); // what is damaged is told there
  orvy_addInterface(testing::registerModel(), "ObjectIface", "ObjectIface", &Table, 0, "");
  testing::createModel("kept");
}

std::string saved() {
  int File = memfd_create("saved", MFD_CLOEXEC);
  std::string Path = "/proc/self/fd/" + std::to_string(File);
  fuzz::require(orvy_serialiseJSON(Path.c_str()) == 0, "what was restored can be saved");
  std::string Text(static_cast<size_t>(lseek(File, 0, SEEK_CUR)), '\0');
  fuzz::require(pread(File, Text.data(), Text.size(), 0) == static_cast<ssize_t>(Text.size()),
                "what was saved can be read");
  close(File);
  return Text;
}

int restore(std::string_view Text) {
  testing::MemoryFile File(Text);
  return orvy_deserialiseJSON(File.path().c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *Data, size_t Size) {
  static const bool Done = (setUp(), true);
  (void)Done;
  std::string_view Text = fuzz::textOf(Data, Size);
  if (isPassedOver(Text))
    return 0;
  if (restore(Text) != 0) {
    fuzz::require(orvy_getObjectCount() == 1, "a failure leaves no object");
    return 0;
  }
  std::string First = saved();
  fuzz::require(Json::parse(First).dump(2) + "\n" == First, "the text is the library's");
  fuzz::require(restore(First) == 0, "what was saved restores");
  fuzz::require(saved() == First, "and is saved as the same");
  return 0;
}
