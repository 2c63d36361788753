#include "../../packaging/adapter/c_linkage.h"
