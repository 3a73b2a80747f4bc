#include "Testing/LogCapture.h"
#include "Testing/Model.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

using namespace orvy::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

template <typename T> std::vector<T> elements(orvy_Vector Vec) {
  auto *First = static_cast<T *>(orvy_vecGetData(&Vec));
  return std::vector<T>(First, First + orvy_vecGetSize(&Vec));
}

// The elements that a new vector of the type holds after the values were pushed.
template <typename T>
std::vector<T> pushed(orvy_Type Typ, std::initializer_list<orvy_Propval> Values) {
  orvy_Vector Vec = orvy_vecCreate(Typ);
  for (const orvy_Propval &Val : Values)
    orvy_vecPush(&Vec, Val);
  std::vector<T> Elements = elements<T>(Vec);
  orvy_vecDispose(&Vec);
  return Elements;
}

TEST(Vectors, ConvertNumbersToTheirElementType) {
  EXPECT_THAT(pushed<uint8_t>(ovTY_U8, {i64(-1), u16(0x1234)}), ElementsAre(0xff, 0x34));
  EXPECT_THAT(pushed<int8_t>(ovTY_I8, {i64(-2)}), ElementsAre(-2));
  EXPECT_THAT(pushed<uint16_t>(ovTY_U16, {u32(0x12345)}), ElementsAre(0x2345));
  EXPECT_THAT(pushed<int16_t>(ovTY_I16, {real(-3.9)}), ElementsAre(-3));
  EXPECT_THAT(pushed<int32_t>(ovTY_I32, {real(1.5), u8(200)}), ElementsAre(1, 200));
  EXPECT_THAT(pushed<uint32_t>(ovTY_U32, {i32(-1)}), ElementsAre(0xffffffffu));
  EXPECT_THAT(pushed<uint64_t>(ovTY_U64, {i32(-1), real(1.0e19)}),
              ElementsAre(~0ull, 10000000000000000000ull));
  EXPECT_THAT(pushed<intptr_t>(ovTY_Intptr, {u8(255)}), ElementsAre(255));
  EXPECT_THAT(pushed<uintptr_t>(ovTY_Uintptr, {u8(255)}), ElementsAre(255u));
  EXPECT_THAT(pushed<float>(ovTY_Float, {real(0.5), u8(2)}), ElementsAre(0.5f, 2.0f));
  EXPECT_THAT(pushed<double>(ovTY_Double, {u64(~0ull)}), ElementsAre(18446744073709551616.0));
}

TEST(Vectors, KeepPointersAndRecords) {
  int A, B;
  EXPECT_THAT(
      pushed<void *>(ovTY_Obj, {{.Typ = ovTY_Obj, .Obj = &A}, {.Typ = ovTY_Obj, .Obj = &B}}),
      ElementsAre(&A, &B));
  std::vector<orvy_IfaceRef> Refs = pushed<orvy_IfaceRef>(ovTY_IfaceRef, {ref(&A, &B)});
  EXPECT_EQ(Refs.at(0).Iface, &B);
  char Text[] = "abc";
  std::vector<char *> Strings = pushed<char *>(ovTY_String, {text(Text)});
  EXPECT_NE(Strings.at(0), Text);
  EXPECT_STREQ(Strings.at(0), "abc");
  std::free(Strings[0]); // disposing of a vector leaves its strings alone
}

TEST(Vectors, GrowAndStayContiguous) {
  orvy_Vector Vec = orvy_vecCreate(ovTY_U32);
  EXPECT_EQ(orvy_vecGetData(&Vec), nullptr);
  for (uint32_t I = 0; I < 1000; ++I)
    orvy_vecPush(&Vec, u32(I));
  std::vector<uint32_t> All = elements<uint32_t>(Vec);
  ASSERT_EQ(All.size(), 1000u);
  EXPECT_EQ(All[999], 999u);
  orvy_vecDispose(&Vec);
  EXPECT_EQ(Vec.Typ, ovTY_U32) << "the record stays as it was";
  EXPECT_NE(Vec.VecData, nullptr);
}

TEST(Vectors, DisposeOfTheBuffersInThem) {
  orvy_Buff Buffer = orvy_buffCreate(4);
  orvy_Vector Vec = orvy_vecCreate(ovTY_Buffer);
  for (int I = 0; I < 3; ++I)
    orvy_vecPush(&Vec, {.Typ = ovTY_Buffer, .Buffer = orvy_buffCopy(&Buffer)});
  EXPECT_EQ(Buffer.Block->RefCount, 4u);
  orvy_vecDispose(&Vec);
  EXPECT_EQ(Buffer.Block->RefCount, 1u);
  orvy_buffDispose(&Buffer);
}

TEST(Vectors, OfInvalidTypesAreRefused) {
  for (uint32_t Tag : {0u, 16u, 21u, 22u, 0xffffffffu}) {
    LogCapture Log;
    orvy_Vector Vec = orvy_vecCreate(static_cast<orvy_Type>(Tag));
    EXPECT_EQ(Vec.VecData, nullptr);
    orvy_vecPush(&Vec, u8(1));
    EXPECT_EQ(orvy_vecGetSize(&Vec), 0u);
    EXPECT_EQ(orvy_vecGetData(&Vec), nullptr);
    orvy_vecDispose(&Vec);
    EXPECT_THAT(Log.take(),
                ElementsAre(":error:: cannot create vectors of iface arrays or invalid types",
                            ":error:: cannot push invalid vectors",
                            ":error:: cannot get size for invalid vectors",
                            ":error:: cannot get data for invalid vectors",
                            ":error:: cannot delete vectors of iface arrays or invalid types"));
  }
}

TEST(Vectors, WithoutDataAreLeftAlone) {
  LogCapture Log;
  orvy_Vector Vec = {ovTY_U8, nullptr};
  EXPECT_EQ(orvy_vecGetSize(&Vec), 0u);
  EXPECT_EQ(orvy_vecGetData(&Vec), nullptr);
  orvy_vecDispose(&Vec);
  EXPECT_THAT(Log.take(), IsEmpty());
}

TEST(Vectors, EndTheProcessForValuesThatDoNotConvert) {
  orvy_Vector Numbers = orvy_vecCreate(ovTY_U8);
  EXPECT_DEATH(orvy_vecPush(&Numbers, text("1")), "converting invalid property to unsigned");
  orvy_Vector Strings = orvy_vecCreate(ovTY_String);
  EXPECT_DEATH(orvy_vecPush(&Strings, text(nullptr)), "internal error");
  orvy_vecDispose(&Numbers);
  orvy_vecDispose(&Strings);
}

class Dictionaries : public ::testing::Test {
protected:
  ~Dictionaries() override { orvy_dictDispose(Dict); }
  std::vector<std::string> keys() {
    std::vector<std::string> Keys;
    for (const char *Key = nullptr; (Key = orvy_dictGetNextKey(Dict, Key));)
      Keys.push_back(Key);
    return Keys;
  }
  orvy_Dict *Dict = orvy_dictCreate();
};

TEST_F(Dictionaries, KeepTheFirstValueOfAKey) {
  EXPECT_EQ(orvy_dictInsertValue(Dict, "k", u8(1)), 0);
  EXPECT_EQ(orvy_dictInsertValue(Dict, "k", u8(2)), -1);
  EXPECT_EQ(orvy_dictGetValue(Dict, "k").u8, 1);
  EXPECT_EQ(orvy_dictRemoveValue(Dict, "k"), 0);
  EXPECT_EQ(orvy_dictRemoveValue(Dict, "k"), -1);
  EXPECT_EQ(orvy_dictGetValue(Dict, "k").Typ, ovTY_Invalid);
}

TEST_F(Dictionaries, AreWalkedInTheOrderOfTheKeysBytes) {
  EXPECT_EQ(orvy_dictGetNextKey(Dict, nullptr), nullptr);
  for (const char *Key : {"b", "a", "c", "", "\xe4", "B"})
    orvy_dictInsertValue(Dict, Key, u8(0));
  EXPECT_THAT(keys(), ElementsAre("", "B", "a", "b", "c", "\xe4"));
  EXPECT_EQ(orvy_dictGetNextKey(Dict, "aa"), nullptr) << "a key that is not present";
  orvy_dictDispose(nullptr);
}

class Lists : public ::testing::Test {
protected:
  ~Lists() override { orvy_listDispose(&List); }
  std::vector<int> forward() {
    std::vector<int> Values;
    for (auto *At = orvy_listGetHead(&List); At; At = orvy_listGetNext(At))
      Values.push_back(orvy_listNodeGetVal(At).i32);
    return Values;
  }
  std::vector<int> backward() {
    std::vector<int> Values;
    for (auto *At = orvy_listGetTail(&List); At; At = orvy_listGetPrev(At))
      Values.push_back(orvy_listNodeGetVal(At).i32);
    return Values;
  }
  orvy_List List = orvy_listCreate(ovTY_I32);
};

TEST_F(Lists, GrowAtBothEnds) {
  orvy_ListNode *First = orvy_listPrepend(&List, i32(2));
  EXPECT_EQ(List.Head, First);
  EXPECT_EQ(List.Tail, First);
  orvy_listPrepend(&List, i32(1));
  orvy_listAppend(&List, i32(3));
  EXPECT_THAT(forward(), ElementsAre(1, 2, 3));
  EXPECT_THAT(backward(), ElementsAre(3, 2, 1));
  EXPECT_EQ(orvy_listNodeGetVal(First).i32, 2);
}

TEST_F(Lists, ShrinkAtBothEnds) {
  for (int I = 1; I <= 4; ++I)
    orvy_listAppend(&List, i32(I));
  EXPECT_EQ(orvy_listRemoveHead(&List).i32, 1);
  EXPECT_EQ(orvy_listRemoveTail(&List).i32, 4);
  EXPECT_THAT(forward(), ElementsAre(2, 3));
  EXPECT_THAT(backward(), ElementsAre(3, 2));
  EXPECT_EQ(orvy_listRemoveTail(&List).i32, 3);
  EXPECT_EQ(orvy_listRemoveHead(&List).i32, 2);
  EXPECT_EQ(List.Head, nullptr);
  EXPECT_EQ(List.Tail, nullptr);
  EXPECT_EQ(orvy_listRemoveHead(&List).Typ, ovTY_Invalid);
  EXPECT_EQ(orvy_listRemoveTail(&List).Typ, ovTY_Invalid);
}

TEST_F(Lists, DisposeOfTheirNodesAndBuffers) {
  orvy_Buff Buffer = orvy_buffCreate(4);
  orvy_List Buffers = orvy_listCreate(ovTY_Buffer);
  orvy_listAppend(&Buffers, {.Typ = ovTY_Buffer, .Buffer = orvy_buffCopy(&Buffer)});
  orvy_listDispose(&Buffers);
  EXPECT_EQ(Buffer.Block->RefCount, 1u);
  EXPECT_EQ(Buffers.Head, nullptr);
  EXPECT_EQ(Buffers.Tail, nullptr);
  EXPECT_EQ(Buffers.Typ, ovTY_Buffer);
  orvy_buffDispose(&Buffer);
}

TEST_F(Lists, EndTheProcessForAValueOfAnotherTag) {
  orvy_logSetFunc(nullptr); // the death is watched on standard error
  EXPECT_DEATH(orvy_listAppend(&List, i64(1)), "attempted to push propval of invalid type to list");
  EXPECT_DEATH(orvy_listPrepend(&List, {}), "attempted to push propval of invalid type to list");
}

class Buffers : public ::testing::Test {
protected:
  Buffers() { std::memcpy(orvy_buffWritableData(&Buffer), "01234567", 8); }
  ~Buffers() override { orvy_buffDispose(&Buffer); }
  static std::string bytes(const orvy_Buff &Buff) {
    return {reinterpret_cast<const char *>(orvy_buffReadableData(&Buff)), orvy_buffLen(&Buff)};
  }
  orvy_Buff Buffer = orvy_buffCreate(8);
};

TEST_F(Buffers, AreDuplicatedOnTheFirstWriteToASharedBlock) {
  orvy_Buff Copy = orvy_buffCopy(&Buffer);
  EXPECT_EQ(orvy_buffReadableData(&Copy), orvy_buffReadableData(&Buffer));
  orvy_buffWritableData(&Copy)[0] = 'x';
  EXPECT_EQ(bytes(Copy), "x1234567");
  EXPECT_EQ(bytes(Buffer), "01234567");
  EXPECT_EQ(Buffer.Block->RefCount, 1u);
  EXPECT_EQ(orvy_buffWritableData(&Buffer), orvy_buffReadableData(&Buffer)) << "no longer shared";
  orvy_buffDispose(&Copy);
}

TEST_F(Buffers, KeepTheirRangeWhenDuplicated) {
  orvy_Buff Copy = orvy_buffCopy(&Buffer);
  orvy_buffRemoveHead(&Copy, 4);
  orvy_buffRemoveTail(&Copy, 1);
  EXPECT_EQ(bytes(Copy), "456");
  orvy_buffWritableData(&Copy)[1] = 'x';
  EXPECT_EQ(Copy.Offset, 4u);
  EXPECT_EQ(Copy.Block->Size, 8u);
  EXPECT_EQ(bytes(Copy), "4x6");
  EXPECT_EQ(bytes(Buffer), "01234567");
  orvy_buffDispose(&Copy);
}

TEST_F(Buffers, ShrinkToNothingAndNoFurther) {
  ::testing::internal::CaptureStderr();
  orvy_buffRemoveHead(&Buffer, 9);
  orvy_buffRemoveTail(&Buffer, UINT32_MAX);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "invalid head removalinvalid tail removal");
  EXPECT_EQ(bytes(Buffer), "01234567");
  orvy_buffRemoveHead(&Buffer, 8);
  EXPECT_EQ(orvy_buffLen(&Buffer), 0u);
  orvy_buffRemoveTail(&Buffer, 0);
  EXPECT_EQ(bytes(Buffer), "");
}

TEST(EmptyBuffers, AreValid) {
  orvy_Buff None = orvy_buffCreate(0);
  orvy_Buff Copy = orvy_buffCopy(&None);
  orvy_buffWritableData(&Copy);
  EXPECT_NE(Copy.Block, None.Block);
  orvy_buffDispose(&Copy);
  orvy_buffDispose(&None);

  orvy_Buff Null = {};
  orvy_Buff NullCopy = orvy_buffCopy(&Null);
  EXPECT_EQ(orvy_buffWritableData(&NullCopy), nullptr);
  EXPECT_EQ(orvy_buffReadableData(&Null), nullptr);
  orvy_buffDispose(&Null);
}

} // namespace
