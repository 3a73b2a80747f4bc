// The commands that save and restore checkpoints.

#include "Checkpoint/CheckpointFile.h"
#include "CommandLine/Handlers.h"

#include "orvy/Support/Checkpoint.h"

using namespace orvy;
using namespace orvy::cl;

namespace {

/// A handler that calls Func with the path given to the command.
template <int (*Func)(const char *Path)> int callWithPath(Command &Cmd, Interpreter *) {
  const Option &File = Cmd.getOption("file");
  const std::vector<std::string> &Words = Cmd.getPositionals();
  if (!File.Valid && Words.empty()) {
    errs() << "no path given\n";
    return 1;
  }
  return Func((File.Valid ? File.Value : Words.front()).c_str());
}

Command CheckpointSave("checkpoint-save", {{"file", OK_Path, false}},
                       callWithPath<orvy_serialiseJSON>, "save a checkpoint to file",
                       {"serialise", "serialize", "save", "checkpoint", "objsys-serialise"});

Command CheckpointRestore("checkpoint-restore", {{"file", OK_Path, false}},
                          callWithPath<checkpoint::restoreIfCheckpoint>,
                          "reload a checkpoint from file",
                          {"deserialise", "deserialize", "restore", "objsys-deserialise"});

} // namespace
