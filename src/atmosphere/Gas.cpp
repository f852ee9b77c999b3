#include "ostreljet/atmosphere/Gas.hpp"

namespace ostreljet {

Gas::Gas() : velocity_(0.0, 0.0, 0.0) {}

} // namespace ostreljet
