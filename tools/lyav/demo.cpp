#include "lyav.h"
namespace lyav {
int RunDemo(const std::vector<std::string>&) { return 0; }
}
