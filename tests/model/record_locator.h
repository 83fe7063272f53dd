// Says in words where in a statistics file an offset lies, for the messages of failing tests.

#ifndef TESTS_MODEL_RECORD_LOCATOR_H_
#define TESTS_MODEL_RECORD_LOCATOR_H_

#include <cstddef>
#include <string>

#include "tests/model/bytes.h"

namespace model {

/// For example "record 3 (STA at 1200, length 900), offset 88 in it, head slot Ld".
std::string DescribeOffset(const Bytes& file, std::size_t offset);

}  // namespace model

#endif  // TESTS_MODEL_RECORD_LOCATOR_H_
