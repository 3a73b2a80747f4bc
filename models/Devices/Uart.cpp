// The class Uart: a serial line.
//
// Registers, 32 bits each:
//   0x00 data     writing sends a byte, reading returns a received one
//   0x04 status   1 a byte was received, 2 the transmitter is idle, 4 a byte can be written, 16 a
//                 byte was written while that was not possible, and lost (cleared by writing the
//                 register)
//   0x08 control  1 receiver on, 2 transmitter on, 4 interrupt when a byte is received, 8 interrupt
//                 when a byte can be written
//   0x0C scaler   stored only: a byte takes "config.cyclesPerByte" cycles of the time source, 0 for
//                 no time
//
// Sent bytes go to the terminal ("config.terminal"), to a file ("config.file") and to the property
// "output", which keeps the most recent ones. A text written to the property "input" is received;
// setting that property replaces the bytes that have not been read yet. The properties show bytes
// that are not text as U+FFFD; a checkpoint also has the bytes themselves.
//
// "config.line" connects the device to the host. Bytes from there are received by asynchronous
// events while the time source runs, and sent bytes also go there if it is a terminal. "pty"
// creates a new pseudo terminal; the property "line" has the path of its other end.

#include "../Checkpoint.h"
#include "Devices.h"
#include "SerialLine.h"
#include "ShownText.h"

#include "orvy/Support/OutStream.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <type_traits>
#include <unistd.h>
#include <vector>

namespace devices {

namespace {

constexpr uint8_t DefaultIrq = 3;
/// A longer configured time is clamped to this.
constexpr uint64_t MaxCyclesPerByte = uint64_t{1} << 62;
/// The output kept for the property. At the limit the older half is removed.
constexpr size_t MaxOutput = 1 << 20;
/// Bytes from the line that wait for the program. More bytes wait on the host.
constexpr size_t MaxPending = 4096;

enum Status : uint32_t { DataReady = 1, Idle = 2, Writable = 4, Overrun = 16 };
enum Control : uint32_t { RxOn = 1, TxOn = 2, RxIrq = 4, TxIrq = 8 };

/// Owns an open file. Has standard layout, unlike std::unique_ptr with a deleter.
class OutFile {
public:
  OutFile() = default;
  OutFile(const OutFile &) = delete;
  OutFile &operator=(const OutFile &) = delete;
  ~OutFile() { reset(nullptr); }

  void reset(std::FILE *New) {
    if (File)
      std::fclose(File);
    File = New;
  }
  std::FILE *get() const { return File; }

private:
  std::FILE *File = nullptr;
};

struct Uart {
  orvy_Object Super;
  orvy_IfaceRef IrqCtrl;
  uint8_t Irq;
  uint8_t Terminal;
  uint64_t CyclesPerByte;
  uint32_t Control;
  uint32_t Scaler;
  uint8_t Lost;       // a byte was lost since the status was last written
  uint8_t IsShifting; // a byte is on the line
  uint8_t Shift;
  uint8_t IsHolding; // another byte waits
  uint8_t Holding;
  int64_t SentEvent;
  std::string Input;
  size_t InputPos; // the first byte that has not been read
  std::string Output;
  std::string FileName;
  OutFile File;
  uint8_t IsFileOld;     // the file still has its former contents
  std::string ShownText; // the last text that a property has returned
  std::string LineName;
  SerialLine Line;

  uint32_t readRegister(uint64_t Offset);
  void writeRegister(uint64_t Offset, uint32_t Value);
  uint32_t status() const;
  void interrupt(uint32_t Enabled) const;
  void send(uint8_t Byte);
  void emit(uint8_t Byte);
  void sent();
  uint8_t take();
  void receive(std::string_view Bytes);
  void openLine(const char *Name);
  void listen();
  void onInput();
  void openFile(const char *Name);
  void emptyFile();
  const char *show(std::string_view Bytes) { return (ShownText = shownText(Bytes)).c_str(); }
};

static_assert(std::is_standard_layout_v<Uart>, "properties are found by their offsets");

Uart &uartOf(void *Obj) {
  return *static_cast<Uart *>(Obj);
}

uint32_t Uart::status() const {
  uint32_t Bits = Lost ? uint32_t{Overrun} : 0;
  if (InputPos < Input.size() && (Control & RxOn))
    Bits |= DataReady;
  if (!IsShifting)
    Bits |= Idle;
  if (!IsHolding)
    Bits |= Writable;
  return Bits;
}

/// Raises the interrupt if that bit enables it and the receiver or transmitter is on.
void Uart::interrupt(uint32_t Enabled) const {
  uint32_t On = Enabled == RxIrq ? RxOn : TxOn;
  if ((Control & Enabled) && (Control & On))
    IrqLine{IrqCtrl, Irq}.raise();
}

void Uart::send(uint8_t Byte) {
  if (!(Control & TxOn))
    return;
  if (CyclesPerByte == 0 || !Super.TimeSource) {
    emit(Byte);
    interrupt(TxIrq);
  } else if (!IsShifting) {
    Shift = Byte;
    IsShifting = 1;
    auto Cycles = static_cast<int64_t>(std::min<uint64_t>(CyclesPerByte, MaxCyclesPerByte));
    orvy_eventPostCycles(Super.TimeSource, SentEvent, Cycles, ovSE_Cpu);
    interrupt(TxIrq);
  } else if (!IsHolding) {
    Holding = Byte;
    IsHolding = 1;
  } else {
    Lost = 1;
  }
}

/// Called when the byte on the line has been sent. Sends the waiting one.
void Uart::sent() {
  emit(Shift);
  IsShifting = 0;
  if (!IsHolding)
    return;
  IsHolding = 0;
  send(Holding);
}

void Uart::emit(uint8_t Byte) {
  auto Char = static_cast<char>(Byte);
  if (Output.size() >= MaxOutput)
    Output.erase(0, MaxOutput / 2);
  Output.push_back(Char);
  if (File.get()) {
    emptyFile();
    std::fputc(Byte, File.get());
  }
  if (Line.isOpen())
    Line.write(Byte);
  if (Terminal) {
    orvy::outs().write(&Char, 1);
    if (Char == '\n')
      orvy::outs().flush();
  }
}

uint8_t Uart::take() {
  if (InputPos >= Input.size() || !(Control & RxOn))
    return 0;
  auto Byte = static_cast<uint8_t>(Input[InputPos++]);
  if (InputPos == Input.size()) {
    Input.clear();
    InputPos = 0;
    if (!Line.isListening())
      listen();
  } else {
    interrupt(RxIrq);
  }
  return Byte;
}

void Uart::receive(std::string_view Bytes) {
  if (Bytes.empty())
    return;
  bool WasEmpty = InputPos == Input.size();
  Input.erase(0, InputPos);
  InputPos = 0;
  Input += Bytes;
  if (WasEmpty)
    interrupt(RxIrq);
}

void Uart::openLine(const char *Name) {
  LineName = Name ? Name : "";
  if (const char *Error = Line.open(LineName))
    orvy_logConfigError(this, "cannot open the line '%s': %s", LineName.c_str(), Error);
  listen();
}

/// Starts to listen on the line if the device has a time source.
void Uart::listen() {
  if (Super.TimeSource)
    Line.listen(
        Super.TimeSource, [](void *Obj) { uartOf(Obj).onInput(); }, this);
}

/// Receives bytes from the line. Pauses the line if too many are waiting.
void Uart::onInput() {
  char Bytes[256];
  int Count = Line.read(Bytes, sizeof(Bytes));
  if (Count < 0) {
    orvy_logConfigInfo(this, "the line '%s' has ended", LineName.c_str());
    Line.close();
    return;
  }
  receive({Bytes, static_cast<size_t>(Count)});
  if (Input.size() - InputPos >= MaxPending)
    Line.pause();
}

void Uart::openFile(const char *Name) {
  File.reset(nullptr);
  FileName = Name ? Name : "";
  if (FileName.empty())
    return;
  // Truncated later, because a checkpoint may continue the file.
  int Descriptor = open(FileName.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (Descriptor < 0) {
    orvy_logConfigError(this, "cannot write to '%s': %s", FileName.c_str(), std::strerror(errno));
    return;
  }
  File.reset(fdopen(Descriptor, "w"));
  IsFileOld = 1;
}

void Uart::emptyFile() {
  if (IsFileOld && File.get() && ftruncate(fileno(File.get()), 0) != 0)
    errno = 0; // not a regular file: there is nothing to truncate
  IsFileOld = 0;
}

uint32_t Uart::readRegister(uint64_t Offset) {
  switch (Offset) {
  case 0x00:
    return take();
  case 0x04:
    return status();
  case 0x08:
    return Control;
  case 0x0C:
    return Scaler;
  default:
    return 0;
  }
}

void Uart::writeRegister(uint64_t Offset, uint32_t Value) {
  switch (Offset) {
  case 0x00:
    send(static_cast<uint8_t>(Value));
    break;
  case 0x04:
    Lost = 0;
    break;
  case 0x08:
    Control = Value & (RxOn | TxOn | RxIrq | TxIrq);
    break;
  case 0x0C:
    Scaler = Value & 0xFFF;
    break;
  default:
    break;
  }
}

void *create(const char *Name, int Argc, const orvy_CreateArg *Args) {
  uint8_t Irq = DefaultIrq;
  if (!readIrq("Uart", Name, Argc, Args, Irq))
    return nullptr;
  auto *U = new Uart{};
  U->Irq = Irq;
  U->Terminal = 1;
  U->SentEvent = orvy_eventPublish("uart.sent", U, [](orvy_Event *E) { uartOf(E->Obj).sent(); });
  return U;
}

void reset(void *Obj, int) {
  Uart &U = uartOf(Obj);
  orvy_eventDeschedule(U.SentEvent);
  U.Control = U.Scaler = 0;
  U.Lost = U.IsShifting = U.IsHolding = 0;
}

ResetIface ResetTable = {reset};

// Checkpoints

/// Saves bytes that the property of the same name cannot hold.
void serialiseBytes(void *Ctxt, const char *Name, std::string_view Bytes) {
  if (!isText(Bytes))
    orvy_serialiseProp(Ctxt, Name, ovTY_U8, static_cast<int>(Bytes.size()), Bytes.data());
}

void deserialiseBytes(void *Ctxt, const char *Name, std::string &Bytes) {
  const models::SavedNumbers Saved(Ctxt, Name);
  if (!Saved.isThere())
    return;
  Bytes.clear();
  for (size_t Idx = 0; Idx < Saved.size(); ++Idx)
    Bytes.push_back(static_cast<char>(Saved.at(Idx)));
}

void serialise(void *Obj, const char *, void *Ctxt) {
  Uart &U = uartOf(Obj);
  serialiseBytes(Ctxt, "output", U.Output);
  serialiseBytes(Ctxt, "input", std::string_view(U.Input).substr(U.InputPos));
  if (!U.File.get() || U.IsFileOld)
    return;
  std::fflush(U.File.get());
  struct stat Info;
  if (fstat(fileno(U.File.get()), &Info) != 0 || !S_ISREG(Info.st_mode))
    return;
  auto Length = static_cast<uint64_t>(Info.st_size);
  orvy_serialiseProp(Ctxt, "fileLength", ovTY_U64, 1, &Length);
}

/// Continues a file at its saved length. Removes what was written to it after the save.
void resumeFile(Uart &U, uint64_t Length) {
  int File = fileno(U.File.get());
  struct stat Info;
  if (fstat(File, &Info) != 0 || !S_ISREG(Info.st_mode))
    return;
  U.IsFileOld = 0;
  auto Present = static_cast<uint64_t>(Info.st_size);
  if (Present < Length)
    orvy_logConfigWarning(&U, "the file '%s' has lost what was sent to it", U.FileName.c_str());
  else if (ftruncate(File, static_cast<off_t>(Length)) != 0)
    orvy_logConfigError(&U, "cannot write to '%s': %s", U.FileName.c_str(), std::strerror(errno));
  fseeko(U.File.get(), 0, SEEK_END);
}

void deserialise(void *Obj, const char *, void *Ctxt) {
  Uart &U = uartOf(Obj);
  deserialiseBytes(Ctxt, "output", U.Output);
  deserialiseBytes(Ctxt, "input", U.Input);
  const models::SavedNumbers Length(Ctxt, "fileLength");
  if (Length.size() == 1 && U.File.get())
    resumeFile(U, Length.at(0));
  U.listen();
}

ObjectIface ObjectTable = {serialise, deserialise, nullptr, [](void *Obj) { uartOf(Obj).listen(); },
                           nullptr};

orvy_Propval text(const char *Text) {
  orvy_Propval Value{};
  Value.Typ = ovTY_String;
  Value.String = Text;
  return Value;
}

void addText(orvy_Class *Cls, const char *Name, void (*Write)(void *, orvy_Propval, int),
             void (*Set)(void *, orvy_Propval, int), orvy_Propval (*Get)(void *, int),
             const char *Doc) {
  orvy_addPseudoProperty(Cls, Name, ovTY_String, 1, Write, nullptr, Set, Get, Doc);
}

void addTexts(orvy_Class *Cls) {
  addText(
      Cls, "input",
      [](void *Obj, orvy_Propval Value, int) {
        uartOf(Obj).receive(Value.String ? Value.String : "");
      },
      [](void *Obj, orvy_Propval Value, int) {
        uartOf(Obj).Input = Value.String ? Value.String : "";
        uartOf(Obj).InputPos = 0;
      },
      [](void *Obj, int) {
        Uart &U = uartOf(Obj);
        return text(U.show(std::string_view(U.Input).substr(U.InputPos)));
      },
      "Received text that was not read yet; writing adds to it");
  addText(
      Cls, "output", nullptr,
      [](void *Obj, orvy_Propval Value, int) {
        uartOf(Obj).Output = Value.String ? Value.String : "";
      },
      [](void *Obj, int) { return text(uartOf(Obj).show(uartOf(Obj).Output)); },
      "The most recent output");
  addText(
      Cls, "config.file",
      [](void *Obj, orvy_Propval Value, int) {
        uartOf(Obj).openFile(Value.String);
        uartOf(Obj).emptyFile();
      },
      [](void *Obj, orvy_Propval Value, int) { uartOf(Obj).openFile(Value.String); },
      [](void *Obj, int) { return text(uartOf(Obj).FileName.c_str()); },
      "File for the output, which is overwritten; empty for none");
  addText(
      Cls, "config.line",
      [](void *Obj, orvy_Propval Value, int) { uartOf(Obj).openLine(Value.String); },
      [](void *Obj, orvy_Propval Value, int) { uartOf(Obj).openLine(Value.String); },
      [](void *Obj, int) { return text(uartOf(Obj).LineName.c_str()); },
      "Terminal or pipe of the host that is connected to the device; pty for a new pseudo "
      "terminal");
  addText(
      Cls, "line", nullptr, nullptr,
      [](void *Obj, int) { return text(uartOf(Obj).Line.farEnd().c_str()); },
      "Path that a program of the host opens for the other end of the line");
}

void addRegisters(orvy_Class *Cls) {
  auto *Bank = orvy_addRegisterBank(Cls, "registers");
  auto *Ctrl = orvy_addRegister(Bank, "control", offsetof(Uart, Control), ovTY_U32, 1,
                                RegisterHooks<Uart, 0x08>::write, nullptr, "Control", 0, 8);
  orvy_addField(Ctrl, "RE", RxOn, 0, 0, 1, "Receiver on");
  orvy_addField(Ctrl, "TE", TxOn, 0, 0, 1, "Transmitter on");
  orvy_addField(Ctrl, "RI", RxIrq, 0, 0, 1, "Interrupt when a byte is received");
  orvy_addField(Ctrl, "TI", TxIrq, 0, 0, 1, "Interrupt when a byte can be written");
  auto *Scaler = orvy_addRegister(Bank, "scaler", offsetof(Uart, Scaler), ovTY_U32, 1,
                                  RegisterHooks<Uart, 0x0C>::write, nullptr, "Scaler", 0, 12);
  orvy_addField(Scaler, "VALUE", 0xFFF, 0, 0, 1, "Stored only");
}

} // namespace

void registerUart() {
  orvy_Class *Cls = orvy_registerClass("Uart", create, [](void *Obj) { delete &uartOf(Obj); });
  orvy_addInterface(Cls, "MemAccessIface", "MemAccessIface", &RegisterAccess<Uart>::Table, 0,
                    "Registers");
  orvy_addInterface(Cls, "ResetIface", "ResetIface", &ResetTable, 0, "");
  orvy_addInterface(Cls, "ObjectIface", "ObjectIface", &ObjectTable, 0, "");
  orvy_addProperty(Cls, "irqCtrl", offsetof(Uart, IrqCtrl), ovTY_IfaceRef, 1, nullptr, nullptr,
                   "Receiver of the interrupt");
  orvy_requireInterface(Cls, "irqCtrl", "IrqCtrlIface");
  const struct {
    const char *Name;
    size_t Offset;
    orvy_Type Type;
    const char *Doc;
  } Properties[] = {
      {"config.irq", offsetof(Uart, Irq), ovTY_U8, "Number of the interrupt"},
      {"config.terminal", offsetof(Uart, Terminal), ovTY_U8,
       "Whether the terminal shows what is sent"},
      {"config.cyclesPerByte", offsetof(Uart, CyclesPerByte), ovTY_U64, "Time a byte takes"},
      {"lost", offsetof(Uart, Lost), ovTY_U8, "Whether a byte was lost"},
      {"isShifting", offsetof(Uart, IsShifting), ovTY_U8, "Whether a byte is on the line"},
      {"shift", offsetof(Uart, Shift), ovTY_U8, "That byte"},
      {"isHolding", offsetof(Uart, IsHolding), ovTY_U8, "Whether another byte waits"},
      {"holding", offsetof(Uart, Holding), ovTY_U8, "That byte"},
  };
  for (const auto &P : Properties)
    orvy_addProperty(Cls, P.Name, static_cast<int>(P.Offset), P.Type, 1, nullptr, nullptr, P.Doc);
  addTexts(Cls);
  addRegisters(Cls);
}

} // namespace devices
