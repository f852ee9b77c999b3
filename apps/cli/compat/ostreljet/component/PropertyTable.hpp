#pragma once
// The report still names the header by its former folder; it moved to io/.
#include "ostreljet/io/PropertyTable.hpp"
