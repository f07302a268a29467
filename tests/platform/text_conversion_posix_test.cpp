#include "tests/platform/text_conversion_contract.h"

namespace Orvane::Platform {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Portable, TextConversionContract, DefaultTextConversion);

}  // namespace
}  // namespace Orvane::Platform
