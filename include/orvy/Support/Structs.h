/* Structs.h - descriptions of plain records that plug-ins exchange, for tools that walk them.
 *
 * Plug-ins register records while they are loaded; from then on anyone may read. No function takes
 * a lock. Descriptions stay for the life of the process, also when the object system is cleared. */

#ifndef ORVY_SUPPORT_STRUCTS_H
#define ORVY_SUPPORT_STRUCTS_H

#include "orvy/Support/Types.h"

ORVY_BEGIN_C

/** Opaque: the description of a record. */
typedef struct orvy_Struct orvy_Struct;

/**
 * Describes a record, without fields yet. A name that is taken goes over to the new one; the old
 * one is still found by its id.
 * @param Size  bytes
 * @return the description, owned by the library
 */
ORVY_API orvy_Struct *orvy_registerStruct(const char *Name, size_t Size);

/** The id of a record, counted from 0 in the order of registering; -1, silently, if there is
 * none. */
ORVY_API int64_t orvy_getStructID(const char *Name);

/**
 * Adds a field of a plain type. A name that is taken goes over to the new one; the old one keeps
 * its position.
 * @param Offset  bytes from the start of the record; not checked
 * @param Count   number of elements
 */
ORVY_API void orvy_structAddField(orvy_Struct *Struct, const char *Name, orvy_Type Typ,
                                  size_t Offset, unsigned Count);
/** Adds a field that is a record itself, or an array of Count of them; otherwise as
 * orvy_structAddField. Sub must stay registered, as all records do. */
ORVY_API void orvy_structAddStructField(orvy_Struct *Struct, const char *Name, orvy_Struct *Sub,
                                        size_t Offset, unsigned Count);

ORVY_END_C

#ifdef __cplusplus

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orvy::objsys {

class Struct;

/// A field of a record.
struct StructField {
  std::string Name;
  size_t Offset; ///< bytes from the start of the record
  orvy_Type Typ; ///< ovTY_Invalid for a record
  Struct *Sub;   ///< null for a plain type
  size_t Count;  ///< elements
};

/// The description of a record. Look-ups give null for what is not there.
class Struct {
public:
  /// Enters itself into the tables, which own it.
  ORVY_API static Struct *add(const char *Name, size_t Size);

  ORVY_API static Struct *getStructByID(long Id);
  ORVY_API static Struct *getStructByName(const char *Name);
  ORVY_API static int64_t getStructID(const char *Name);

  ORVY_API void addField(const char *FieldName, orvy_Type Typ, size_t Offset, unsigned Count);
  ORVY_API void addField(const char *FieldName, Struct *Sub, size_t Offset, unsigned Count);

  const std::vector<StructField> &getFields() const { return Fields; }
  ORVY_API const StructField *getFieldByName(const char *FieldName) const;
  /// The first field added at exactly an offset.
  ORVY_API const StructField *getFieldByOffset(unsigned long Offset) const;
  ORVY_API const StructField *getFieldByIndex(unsigned Index) const;

  std::string Name;
  size_t Size;

private:
  Struct(const char *Name, size_t Size) : Name(Name), Size(Size) {}
  void append(StructField Added);

  std::map<std::string, size_t, std::less<>> FieldsByName;
  std::vector<StructField> Fields;

  static std::vector<std::unique_ptr<Struct>> s_Structs;
  static std::map<std::string, size_t, std::less<>> s_NamedStructs;
};

} // namespace orvy::objsys

#endif

#endif
