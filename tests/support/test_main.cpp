#include "tests/support/suite.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return talvane::test::runTests(argc, argv);
}
