// SPDX-License-Identifier: MIT
#pragma once

// Everything: all families of the library and the sibling headers that they need.

#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/deconvolution_2d.h>
#include <gnr_deconvolution/kernels_3d.h>
#include <gnr_deconvolution/legacy.h>
#include <gnr_deconvolution/memory_stock.h>
#include <gnr_deconvolution/object_frame.h>
#include <gnr_deconvolution/parameters.h>
#include <gnr_deconvolution/psf_2d.h>
#include <gnr_deconvolution/psf_3d.h>
#include <gnr_deconvolution/ranges.h>
#include <gnr_deconvolution/return_codes.h>
#include <ry_picture/ry_picture.h>
#include <ry_system/ry_system.h>
