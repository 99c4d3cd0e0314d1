#pragma once
// Small vector arithmetic for building molecules in code.

#include <array>
#include <cmath>

namespace tbrelax::bench {

using vec3 = std::array<double, 3>;

inline vec3 operator+(vec3 a, vec3 b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline vec3 operator-(vec3 a, vec3 b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline vec3 operator*(double s, vec3 a) { return {s * a[0], s * a[1], s * a[2]}; }
inline double dot3(vec3 a, vec3 b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline vec3 unit(vec3 a) { return (1.0 / std::sqrt(dot3(a, a))) * a; }
inline vec3 cross(vec3 a, vec3 b) { return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}; }

inline double radians(double degrees) { return degrees * std::acos(-1.0) / 180.0; }

}  // namespace tbrelax::bench
