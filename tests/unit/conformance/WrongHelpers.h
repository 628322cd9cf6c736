// For every rule a helper that breaks it.
#ifndef TESTS_UNIT_CONFORMANCE_WRONGHELPERS_H
#define TESTS_UNIT_CONFORMANCE_WRONGHELPERS_H

#include "tests/unit/conformance/FakeHelper.h"

#include <functional>
#include <map>
#include <string>

namespace ConformanceTests {

using Maker =
      std::function<Quor::Ptr<OrloHelper::VrrpSmHelper>( FakeTable &, const HelperSettings & )>;

/// By the rule's name. Each is a good one with one thing wrong.
const std::map<std::string, Maker> &wrongHelpers();

} // namespace ConformanceTests

#endif
