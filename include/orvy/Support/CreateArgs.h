/* CreateArgs.h - creation arguments, read as a class describes them.
 *
 * A create function says which arguments its class takes and where their values go:
 *
 *     uint64_t Size = 0;
 *     const orvy_ArgSpec Specs[] = {{"size", ovAK_Size, &Size, 1, 1 << 20, "Bytes of the memory"},
 *                                   {0}};
 *     if (orvy_readCreateArgs("Ram", Name, Argc, Args, Specs, 0) != 0)
 *       return NULL; // nothing is created; the user has been told why
 *
 * An argument that the class does not take, one that is given twice, one of another type and a
 * value out of range are refused with a message that names the object, the argument and what the
 * class takes. Belongs to the thread that owns the object system. */

#ifndef ORVY_SUPPORT_CREATEARGS_H
#define ORVY_SUPPORT_CREATEARGS_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** What an argument is, and the type of the variable that takes it. Every number is accepted in any
 *  numeric type whose value fits, and as a text that holds it: "4096", "0x1000", "1_000". */
typedef ORVY_ENUM(orvy_ArgKind){
    ovAK_Number = 0, /**< uint64_t: a whole number from 0 on */
    ovAK_Size = 1,   /**< uint64_t: bytes; a text may have a unit, as in "64KiB" */
    ovAK_Freq = 2,   /**< uint64_t: hertz; a text may have a unit, as in "50MHz" */
    ovAK_Real = 3,   /**< double: any number, of which Least and Most say nothing */
    ovAK_Text = 4,   /**< const char *: the caller's characters, so copy them to keep them */
    ovAK_Object = 5  /**< void *: an object, or the name of one */
} orvy_ArgKind;

/** One argument that a class takes. */
typedef struct orvy_ArgSpec {
  const char *Key; /**< null ends a list */
  orvy_ArgKind Kind;
  void *Value; /**< the variable; it stays as it is if the argument is not given */
  /** Limits of numbers, sizes and frequencies; there are none if both are 0. */
  uint64_t Least, Most;
  const char *Doc; /**< for the user, in a few words; may be null */
} orvy_ArgSpec;

ORVY_STATIC_ASSERT(sizeof(orvy_ArgSpec) == 48, "boundary record");
ORVY_STATIC_ASSERT(offsetof(orvy_ArgSpec, Value) == 16, "boundary record");

/** Flag: an argument that the class does not take is ignored, and of one that is given twice the
 *  last counts; either is warned about. */
#define ORVY_ARGS_LENIENT 1u

/**
 * Reads creation arguments.
 * @param ClsName  class, for messages
 * @param ObjName  object, for messages
 * @param Argc     number of arguments, as the create function got it
 * @param Args     the arguments, as the create function got them; null for none
 * @param Specs    what the class takes, ended by a null Key; null if it takes none
 * @param Flags    0 or ORVY_ARGS_LENIENT
 * @return 0; -1, with an error in the log, if an argument is refused, and then no variable has
 * changed
 */
ORVY_API int orvy_readCreateArgs(const char *ClsName, const char *ObjName, int Argc,
                                 const orvy_CreateArg *Args, const orvy_ArgSpec *Specs,
                                 unsigned Flags);

ORVY_END_C

#endif
