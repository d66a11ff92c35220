// The demo's edge panel: the room's depth with flying pixels on its depth
// edges (samples mixed across each edge, as a sensor pixel that sees two
// surfaces mixes their light), before and after the Scharr edge suppression.
#pragma once

#include <string>

#include "args.h"
#include "scene.h"
#include "staged_output.h"

namespace pxcli {

struct EdgePanel {
  std::string name;  // file name in the demo folder
  std::string temp;  // staged path
};

EdgePanel stage_edge_panel(StagedOutputs& outputs, const std::string& dir, const Modulation& m);

struct EdgePanelFigures {
  double ms = 0;         // one s1 call, median
  std::string summary;   // what was cut
};

// Mixes the scene's samples across depth edges, decodes them (dual frequency),
// runs s1 (f32, relative test, 2 threads) and writes the side-by-side picture.
EdgePanelFigures run_edge_panel(const EdgePanel& panel, const ToFScene& scene, const Modulation& m,
                                bool verbose);

}  // namespace pxcli
