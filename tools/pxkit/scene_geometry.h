// The demo's room, seen by a pinhole camera at the origin looking along +z
// (x right, y up, metres): floor and ceiling, two walls meeting in a corner
// 6.5 m ahead, a staircase on the left climbing away from the camera, a ramp on
// the right, and a sphere in the middle.
#pragma once

namespace pxcli {

struct Hit {
  double distance = 0;  // along the ray, metres (radial distance: what ToF measures)
  double cosine = 1;    // |cos| of the angle between ray and surface normal
  double albedo = 0;    // share of light the surface sends back
};

// The nearest surface along the unit ray (dx, dy, dz), dz > 0. Every ray of the
// camera's field of view (up to 35 degrees off axis sideways, 28 up and down)
// meets the room within 6.7 m.
Hit trace_room(double dx, double dy, double dz);

}  // namespace pxcli
