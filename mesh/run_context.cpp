// Progress spans, the cancel check and the log hand-off of the run context.
#include "mesh/run_context.h"

#include <cmath>

namespace vekmesh {

int32_t RunContext::percentAt(double fraction) const {
  // Products such as 0.3 x 100 land a hair off the whole number; rounding
  // to the nearest keeps them on it.
  return static_cast<int32_t>(std::lround(low_ + fraction * (high_ - low_)));
}

void RunContext::report(double fraction) const {
  if (progress_.write) progress_.write(percentAt(fraction), progress_.user);
  if (cancel_.cancelled && cancel_.cancelled(cancel_.user)) throw RunCancelled();
}

void RunContext::checkpoint() const {
  if (cancel_.cancelled && cancel_.cancelled(cancel_.user)) throw RunCancelled();
}

RunContext RunContext::sub(double from, double to) const {
  RunContext nested = *this;
  nested.low_ = low_ + from * (high_ - low_);
  nested.high_ = low_ + to * (high_ - low_);
  return nested;
}

void RunContext::log(std::string_view text) const {
  if (log_.write) log_.write(text, log_.user);
}

}  // namespace vekmesh
