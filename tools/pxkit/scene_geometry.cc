#include "scene_geometry.h"

#include <cmath>
#include <limits>

namespace pxcli {
namespace {

constexpr double kFloorY = -1.2;
constexpr double kCeilingY = 1.5;
constexpr double kCornerZ = 6.5;     // walls: z = kCornerZ -+ kWallSlope * x
constexpr double kWallSlope = 0.7;

struct Ray {
  double dx, dy, dz;
};

struct Best {
  Hit hit{std::numeric_limits<double>::infinity(), 1, 0};
  // Keeps the nearer of the current hit and a surface at distance t with normal n.
  void offer(const Ray& ray, double t, double nx, double ny, double nz, double albedo) {
    if (!(t > 1e-6) || t >= hit.distance) return;
    const double norm = std::sqrt(nx * nx + ny * ny + nz * nz);
    hit = {t, std::fabs(ray.dx * nx + ray.dy * ny + ray.dz * nz) / norm, albedo};
  }
};

// Half-metre floor tiles in two shades, so the amplitude picture shows texture.
double floor_albedo(double x, double z) {
  const long tile = std::lround(std::floor(x / 0.5)) + std::lround(std::floor(z / 0.5));
  return (tile & 1) ? 0.35 : 0.55;
}

void room(const Ray& r, Best& best) {
  if (r.dy < 0) {
    const double t = kFloorY / r.dy;
    best.offer(r, t, 0, 1, 0, floor_albedo(t * r.dx, t * r.dz));
  }
  if (r.dy > 0) best.offer(r, kCeilingY / r.dy, 0, -1, 0, 0.6);
  // Left wall z - slope x = corner, right wall z + slope x = corner.
  const double left = r.dz - kWallSlope * r.dx, right = r.dz + kWallSlope * r.dx;
  if (left > 0) best.offer(r, kCornerZ / left, -kWallSlope, 0, 1, 0.7);
  if (right > 0) best.offer(r, kCornerZ / right, kWallSlope, 0, 1, 0.7);
}

// Axis-aligned box by the slab method; the face entered first gives the normal.
void box(const Ray& r, const double lo[3], const double hi[3], double albedo, Best& best) {
  const double d[3] = {r.dx, r.dy, r.dz};
  double t_in = 0, t_out = std::numeric_limits<double>::infinity();
  int axis = -1;
  for (int a = 0; a < 3; ++a) {
    if (d[a] == 0) {
      if (lo[a] > 0 || hi[a] < 0) return;  // the camera sits outside this slab
      continue;
    }
    double t0 = lo[a] / d[a], t1 = hi[a] / d[a];
    if (t0 > t1) std::swap(t0, t1);
    if (t0 > t_in) {
      t_in = t0;
      axis = a;
    }
    t_out = std::min(t_out, t1);
  }
  if (axis < 0 || t_in > t_out) return;
  best.offer(r, t_in, axis == 0, axis == 1, axis == 2, albedo);
}

// Six 0.17 m steps, 0.45 m deep, from 1.5 m to 4.2 m away: each step is a box
// from the floor to its tread, running back to the end of the flight.
void staircase(const Ray& r, Best& best) {
  for (int i = 0; i < 6; ++i) {
    const double lo[3] = {-1.9, kFloorY, 1.5 + 0.45 * i};
    const double hi[3] = {-0.6, kFloorY + 0.17 * (i + 1), 4.2};
    box(r, lo, hi, 0.6, best);
  }
}

// A board rising from the floor at z = 2.6 to 0.9 m above it at z = 4.8, with a
// solid left side facing the camera.
void ramp(const Ray& r, Best& best) {
  constexpr double x0 = 0.8, x1 = 1.9, z0 = 2.6, z1 = 4.8, rise = 0.9;
  constexpr double slope = rise / (z1 - z0);
  // Top: y - slope z = kFloorY - slope z0.
  const double denom = r.dy - slope * r.dz;
  if (denom != 0) {
    const double t = (kFloorY - slope * z0) / denom;
    const double x = t * r.dx, z = t * r.dz;
    if (x >= x0 && x <= x1 && z >= z0 && z <= z1) best.offer(r, t, 0, 1, -slope, 0.8);
  }
  if (r.dx > 0) {  // left side: x = x0, between the floor and the top
    const double t = x0 / r.dx;
    const double y = t * r.dy, z = t * r.dz;
    if (z >= z0 && z <= z1 && y >= kFloorY && y <= kFloorY + slope * (z - z0)) {
      best.offer(r, t, -1, 0, 0, 0.8);
    }
  }
}

void sphere(const Ray& r, Best& best) {
  constexpr double cx = -0.05, cy = -0.78, cz = 2.4, radius = 0.42;  // resting on the floor
  const double b = r.dx * cx + r.dy * cy + r.dz * cz;
  const double c = cx * cx + cy * cy + cz * cz - radius * radius;
  const double disc = b * b - c;
  if (disc < 0) return;
  const double t = b - std::sqrt(disc);
  best.offer(r, t, t * r.dx - cx, t * r.dy - cy, t * r.dz - cz, 0.9);
}

}  // namespace

Hit trace_room(double dx, double dy, double dz) {
  const Ray r{dx, dy, dz};
  Best best;
  room(r, best);
  staircase(r, best);
  ramp(r, best);
  sphere(r, best);
  return best.hit;
}

}  // namespace pxcli
