#pragma once
// The reaction-path calls of the Python package as methods of the session pool: relaxed
// scans, nudged elastic bands, saddle points and reaction coordinates.

#include <pybind11/pybind11.h>

#include "session_pool.hpp"

namespace tbrelax::python {

void bind_path_calls(pybind11::class_<session_pool>& sessions);

}  // namespace tbrelax::python
