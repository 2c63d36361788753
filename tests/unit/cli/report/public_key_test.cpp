#include "cli/report/public_key.h"

#include <gtest/gtest.h>

// The keys of RFC 7748, section 6.1.
TEST(PublicKeyTest, BelongsToAPrivateKey) {
  EXPECT_EQ(public_key_of("dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCo="),
            "hSDwCYkwp1R0i33ctD73Wg2/Og0mOBr066SpjqqbTmo=");
  EXPECT_EQ(public_key_of("XasIfmJKikt54X+Lg4AO5m87sSkmGLb9HC+LJ/+I4Os="),
            "3p7bfXt9wbTTW2HC7OQ1Nz+DQ8hbeGdNrfx+FG+IK08=");
}

TEST(PublicKeyTest, OfAnythingElseDoesNotExist) {
  for (const char* text :
       {"", "hello", "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCo",
        "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCoA", "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LC==",
        "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25L!o=", "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCo=="})
    EXPECT_EQ(public_key_of(text), std::nullopt) << text;
}
