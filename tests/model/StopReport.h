// A stop that the rules require, let happen in a process of its own.
#ifndef TESTS_MODEL_STOPREPORT_H
#define TESTS_MODEL_STOPREPORT_H

#include "tests/model/Model.h"

#include <string>

namespace ModelTests {

/// Performs `work` in a child, which must make the calls of the model, then stop with this report.
/// `work` gets the descriptor that the helper writes its calls to. Says what came instead; empty
/// when nothing did.
std::string stopDiffers( const Stop &stop, const Model &model,
                         const std::function<void( int )> &work );

} // namespace ModelTests

#endif
