#include "Objsys/ObjsysClass.h"
#include "Testing/LogCapture.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A bank "ctrl" with the registers "status" (the fields mode, 0xF0, and level, 0x0F) and "wide".
class Registers : public ::testing::Test {
protected:
  Registers() {
    Bank = orvy_addRegisterBank(Cls, "ctrl");
    Status = add("status", offsetof(Model, U32), ovTY_U32);
    orvy_addField(Status, "mode", 0xf0, 0x10, 0x20, 1, "operating mode");
    orvy_addField(Status, "level", 0x0f, 0x01, 0x02, 2, "");
    orvy_addField(Status, "none", 0, 0, 0, ~0ull & ~3ull, "");
    Obj = createModel("m");
  }

  orvy_Register *add(const char *Name, size_t Offset, orvy_Type Typ) {
    return orvy_addRegister(Bank, Name, static_cast<int>(Offset), Typ, 1, nullptr, nullptr, "doc",
                            3, 4);
  }

  CleanSystem System;
  orvy_Class *Cls = registerModel();
  orvy_RegisterBank *Bank;
  orvy_Register *Status;
  Model *Obj;
  LogCapture Log;
};

TEST_F(Registers, GatherTheMasksAndResetValuesOfTheirFields) {
  EXPECT_EQ(orvy_getRegisterReadMask(Status), 0xffu);
  EXPECT_EQ(orvy_getRegisterWriteMask(Status), 0xf0u);
  EXPECT_EQ(orvy_getRegisterColdResetValue(Status), 0x11u);
  EXPECT_EQ(orvy_getRegisterWarmResetValue(Status), 0x22u);
  const auto *Record = orvy::objsys::fromHandle(Status);
  EXPECT_EQ(Record->AuxMask, 0x0fu);
  EXPECT_EQ(Record->RegParam0, 3u);
  EXPECT_EQ(Record->RegParam1, 4u);
}

TEST_F(Registers, ArePropertiesToo) {
  Obj->U32[0] = 9;
  EXPECT_EQ(orvy_getValueU32(Obj, "status", 0), 9u);
  EXPECT_EQ(orvy_getRegister(Bank, "status"), Status);
  EXPECT_EQ(orvy_getRegister(Bank, "u32"), nullptr) << "a plain property";
  EXPECT_EQ(orvy_getRegister(Bank, "nothing"), nullptr);
  EXPECT_STREQ(orvy_getRegisterName(Status), "status");
  EXPECT_STREQ(orvy_getRegisterDocs(Status), "doc");
}

TEST_F(Registers, FieldsAreFetchedShiftedDown) {
  Obj->U32[0] = 0xa5;
  EXPECT_EQ(orvy_getFieldValue(Obj, "status", "mode"), 0xau);
  EXPECT_EQ(orvy_getFieldValue(Obj, "status", "level"), 0x5u);
  EXPECT_EQ(orvy_getFieldValue(Obj, "status", "none"), 0u);
  EXPECT_EQ(orvy_getFieldValue(Obj, "status", "nothing"), 0u);
  EXPECT_EQ(orvy_getFieldValue(Obj, "u32", "mode"), 0u);
  EXPECT_EQ(orvy_getFieldValue(&Log, "status", "mode"), 0u);
}

TEST_F(Registers, FieldsAreStoredCutToTheirMask) {
  Obj->U32[0] = 0xa5;
  EXPECT_EQ(orvy_setFieldValue(Obj, "status", "mode", 0x3), 0);
  EXPECT_EQ(Obj->U32[0], 0x35u);
  EXPECT_EQ(orvy_writeFieldValue(Obj, "status", "level", 0xffe), 0);
  EXPECT_EQ(Obj->U32[0], 0x3eu);
  EXPECT_EQ(orvy_setFieldValue(Obj, "status", "none", ~0ull), 0);
  EXPECT_EQ(Obj->U32[0], 0x3eu);
}

TEST_F(Registers, AreFetchedQuietlyEvenForAWrite) {
  auto Note = [](void *Self, orvy_Propval Pv, int) { static_cast<Model *>(Self)->U64[0] = Pv.u8; };
  auto Fail = [](void *, int) -> orvy_Propval { throw "the reader has a side effect"; };
  orvy_Register *Reg =
      orvy_addRegister(Bank, "port", offsetof(Model, U8), ovTY_U8, 1, Note, Fail, "", 0, 0);
  orvy_addField(Reg, "high", 0xf0, 0, 0, 1, "");
  Obj->U8[0] = 0x12;
  EXPECT_EQ(orvy_writeFieldValue(Obj, "port", "high", 0x7), 0);
  EXPECT_EQ(Obj->U64[0], 0x72u);
  EXPECT_EQ(Obj->U8[0], 0x12);
}

TEST_F(Registers, RefuseStoresWithoutRegisterOrField) {
  EXPECT_EQ(orvy_setFieldValue(Obj, "status", "nothing", 1), -1);
  EXPECT_EQ(orvy_setFieldValue(Obj, "u32", "mode", 1), -1);
  EXPECT_EQ(orvy_setFieldValue(Obj, "nothing", "mode", 1), -1);
  EXPECT_EQ(orvy_writeFieldValue(Obj, "ref", "mode", 1), -1);
  EXPECT_EQ(orvy_writeFieldValue(&Log, "status", "mode", 1), -1);
  EXPECT_THAT(Log.take(), IsEmpty());
  EXPECT_EQ(orvy_getFieldValue(Obj, nullptr, "mode"), 0u);
  EXPECT_EQ(orvy_setFieldValue(nullptr, "status", "mode", 1), -1);
  EXPECT_THAT(Log.take(), ElementsAre(":error: m : invalid getFieldValue parameters",
                                      ":error:: invalid getFieldValue parameters"));
}

TEST_F(Registers, OfASignedTypeEndTheProcessOnAFieldStore) {
  orvy_addField(add("odd", offsetof(Model, I32), ovTY_I32), "all", ~0ull, 0, 0, 1, "");
  EXPECT_EQ(orvy_getFieldValue(Obj, "odd", "all"), 0u);
  orvy_logSetFunc(nullptr); // the death is watched on standard error
  EXPECT_DEATH(orvy_setFieldValue(Obj, "odd", "all", 1), "register odd does not have a valid type");
}

TEST_F(Registers, ArePagedInTheOrderOfAdding) {
  orvy_Register *Wide = add("a_wide", offsetof(Model, U64), ovTY_U64);
  orvy_Register *Regs[3] = {};
  EXPECT_EQ(orvy_getRegisters(Bank, 0, 0, nullptr), 2u);
  EXPECT_EQ(orvy_getRegisters(Bank, 0, 3, Regs), 2u);
  EXPECT_THAT(Regs, ElementsAre(Status, Wide, nullptr));

  orvy_Field *Fields[4] = {};
  EXPECT_EQ(orvy_getFields(Status, 0, 0, nullptr), 3u);
  EXPECT_EQ(orvy_getFields(Status, 0, 10, Fields), 3u);
  EXPECT_EQ(Fields[3], nullptr);
  EXPECT_STREQ(orvy_getFieldName(Fields[0]), "mode");
  EXPECT_STREQ(orvy_getFieldDocs(Fields[0]), "operating mode");
  EXPECT_EQ(orvy_getFieldMask(Fields[1]), 0x0fu);
  EXPECT_EQ(orvy_getFields(Status, 2, 1, Fields), 1u);
  EXPECT_EQ(Fields[0], orvy_getField(Status, "none"));
  EXPECT_EQ(orvy_getFields(Status, 3, 1, Fields), 0u);
  EXPECT_EQ(orvy_getField(Status, "nothing"), nullptr);
  EXPECT_EQ(orvy_getField(nullptr, "mode"), nullptr);
  EXPECT_EQ(orvy_getField(Status, nullptr), nullptr);
}

TEST_F(Registers, BanksHaveNamesAndAreListedByThem) {
  orvy_RegisterBank *First = orvy_addRegisterBank(Cls, "a");
  EXPECT_EQ(orvy_addRegisterBank(Cls, "a"), nullptr);
  EXPECT_EQ(orvy_addRegisterBank(nullptr, "a"), nullptr);
  EXPECT_EQ(orvy_getRegisterBank(Cls, "ctrl"), Bank);
  EXPECT_EQ(orvy_getRegisterBank(Cls, "b"), nullptr);
  EXPECT_STREQ(orvy_getRegisterBankName(Bank), "ctrl");
  EXPECT_EQ(orvy_getRegisterBankName(nullptr), nullptr);
  orvy_RegisterBank *Banks[2] = {};
  EXPECT_EQ(orvy_getRegisterBanks(Cls, 0, 2, Banks), 2u);
  EXPECT_THAT(Banks, ElementsAre(First, Bank));
}

TEST_F(Registers, LeaveTheirBankWhenReplaced) {
  orvy_addProperty(Cls, "status", offsetof(Model, U32), ovTY_U32, 1, nullptr, nullptr, "");
  EXPECT_EQ(orvy_getRegisters(Bank, 0, 0, nullptr), 0u);
  EXPECT_EQ(orvy_getRegister(Bank, "status"), nullptr);
  orvy_Register *Again = add("status", offsetof(Model, U32), ovTY_U32);
  orvy_Register *Regs[2] = {};
  EXPECT_EQ(orvy_getRegisters(Bank, 0, 2, Regs), 1u);
  EXPECT_EQ(Regs[0], Again);
}

TEST_F(Registers, ComplainAboutANullRegister) {
  EXPECT_EQ(orvy_getRegisterName(nullptr), nullptr);
  EXPECT_EQ(orvy_getRegisterDocs(nullptr), nullptr);
  EXPECT_EQ(orvy_getRegisterReadMask(nullptr), 0u);
  EXPECT_EQ(orvy_getRegisterWriteMask(nullptr), 0u);
  EXPECT_EQ(orvy_getRegisterColdResetValue(nullptr), 0u);
  EXPECT_EQ(orvy_getRegisterWarmResetValue(nullptr), 0u);
  orvy_addField(nullptr, "f", 1, 0, 0, 0, "");
  EXPECT_EQ(orvy_addRegister(nullptr, "r", 0, ovTY_U8, 1, nullptr, nullptr, "", 0, 0), nullptr);
  const std::string Start = ":error:: Invalid register pointer passed to ";
  EXPECT_THAT(Log.take(),
              ElementsAre(Start + "orvy_getRegisterName()", Start + "orvy_getRegisterName()",
                          Start + "orvy_regGetReadMask()", Start + "orvy_regGetWriteMask()",
                          Start + "orvy_regGetColdResetValue()",
                          Start + "orvy_regGetWarmResetValue()", Start + "orvy_addField()"));
}

} // namespace
