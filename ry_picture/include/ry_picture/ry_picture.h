// SPDX-License-Identifier: MIT
#pragma once

// Picture records that hosts and libraries hand to one another, of integer and of float samples, and the few
// operations on them. This header includes all of them.

#include <ry_picture/float_picture.h>
#include <ry_picture/integer_picture.h>
