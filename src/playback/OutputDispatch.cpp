#include "playback/OutputDispatch.h"

#include <string>

#include "base/Seams.h"
#include "stereo/LoadPics.h"
#include "stereo/SavePics.h"

namespace qv {

bool DecodeFrame(PlaybackRequest& request) {
  const FrameDecoder decoder = DecoderFor(request.InputFormat);
  if (decoder == nullptr) {
    MsgBox("Invalid input video format. " + std::to_string(request.InputFormat));
    return false;
  }
  decoder(0, false);
  return true;
}

void ComposeFrame(PlaybackRequest& request, bool flag) {
  switch (request.OutputMethod) {
    case 1:
    case 7:
      SaveAboveBelow(flag);
      break;
    case 2:
      SaveAnaGray();
      break;
    case 3:
      SaveAnaColour();
      break;
    case 4:
      SaveAnaYellow();
      break;
    case 5:
      SaveInterlace(request.Fullscreen);
      break;
    case 6:
    case 8:
      SaveSideBySide();
      break;
    default:
      MsgBox("Invalid output format." + std::to_string(request.OutputMethod));
      break;
  }
}

bool CanPassThrough(const PlaybackRequest& request) {
  if (request.OptionMode == 1 || request.OptionFlagA || request.OptionFlagB) return false;
  return (request.InputFormat == 5 && (request.OutputMethod == 6 || request.OutputMethod == 8)) ||
         (request.InputFormat == 2 && request.OutputMethod == 5 && !request.Fullscreen);
}

}  // namespace qv
