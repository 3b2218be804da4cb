// Test entry point: every suite runs under the ISO locale rule unless a test sets another.
#include <gtest/gtest.h>

#include "platform/locale.h"

int main(int argc, char** argv) {
  kiv::SetLocale(kiv::LocaleKind::Iso);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
