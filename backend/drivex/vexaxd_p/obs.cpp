#include "obs.h"

double VEXA_SystemMissing() {
  double number;
  std::memcpy(&number, &kSystemMissingBits, sizeof number);
  return number;
}

OBS BlankObs() { return {{' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '}}; }

const OBS blankObs = BlankObs();

bool MissingStringMatch(const OBS* value, const OBS& missing, int units) {
  if (value[0] != missing) return false;
  for (int i = 1; i < units; ++i) {
    if (value[i] != blankObs) return false;
  }
  return true;
}
