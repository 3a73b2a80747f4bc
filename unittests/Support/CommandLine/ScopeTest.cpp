#include "orvy/Support/Scope.h"

#include "orvy/Support/Orvy.h"

#include <gtest/gtest.h>

using namespace orvy::cl::scope;

TEST(Scope, LooksOutwardsAndKeepsWhatIsThere) {
  orvy_initSupportLib();
  void *Sim = orvy_objectForName("sim");
  Scope Global;
  Scope Middle(&Global), Inner(&Middle);
  EXPECT_TRUE(Global.addVar("x", std::make_unique<ObjectVar>(Sim)));
  EXPECT_FALSE(Inner.addGlobalVar("x", std::make_unique<ObjectVar>(nullptr)));
  EXPECT_TRUE(Middle.addVar("x", std::make_unique<ObjectVar>(nullptr)));

  EXPECT_EQ(Inner.findVar("x", false), nullptr);
  EXPECT_EQ(Inner.findVar("x", true), Middle.findVar("x", false));
  EXPECT_EQ(Inner.findGlobalVar("x"), Global.findVar("x", false));
  EXPECT_STREQ(static_cast<ObjectVar *>(Inner.findGlobalVar("x"))->getObjectName(), "sim");

  EXPECT_FALSE(Inner.removeVar("x", false));
  EXPECT_TRUE(Inner.removeVar("x", true));
  EXPECT_EQ(Inner.findVar("x", true), Inner.findGlobalVar("x"));
  EXPECT_TRUE(Inner.removeGlobalVar("x"));
  EXPECT_FALSE(Inner.removeGlobalVar("x"));
}

TEST(Scope, ReadsAndStoresAProperty) {
  orvy_initSupportLib();
  PropVar Quanta(orvy_objectForName("sim"), "quanta", -1);
  orvy_Propval Val{};
  Val.Typ = ovTY_I64;
  Val.i64 = 1234;
  Quanta.setPropval(Val);
  EXPECT_EQ(Quanta.getPropval().i64, 1234);
}
