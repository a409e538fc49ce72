#include "review/review.h"

namespace tvl {

void bindReview(Program&) {}

}  // namespace tvl
