#pragma once
// The demo clip: a short side-by-side stereo video of a synthetic scene (lit spheres orbiting in
// front of a textured wall, each eye rendered from its own camera) with a sound track, written by
// our own code so that the player always has something to show.

#include <string>

namespace qv {

struct DemoClipOptions {
  int eyeWidth = 640;
  int eyeHeight = 480;
  int frameRate = 25;
  double seconds = 8.0;
};

// Writes the clip (container and codecs from the file's extension); false with a reason in
// `error` when it could not be written.
bool WriteDemoClip(const std::string& path, const DemoClipOptions& options, std::string& error);

}  // namespace qv
