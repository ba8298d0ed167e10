#pragma once

#include "support/glibptr.h"
