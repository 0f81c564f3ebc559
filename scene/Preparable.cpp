#include "scene/Preparable.h"

#include "archive/Configuration.h"
#include "scene/KeyframeFloatController.h"
#include "scene/SceneGraph.h"

#include <cstdio>
#include <string>

namespace {

// The configuration key "a<i>.<suffix>" or "a<i>.kf<j>".
std::string animationKey(int i, const char* suffix) {
  char key[64];
  std::snprintf(key, sizeof key, "a%d.%s", i, suffix);
  return key;
}
std::string keyframeKey(int i, int j) {
  char key[64];
  std::snprintf(key, sizeof key, "a%d.kf%d", i, j);
  return key;
}

// The first two tokens of a key text split at spaces (runs of spaces count
// as one separator); false when the text has no token at all.
bool splitKeyText(const char* text, std::string& first, std::string& second) {
  std::string tokens[2];
  int found = 0;
  const char* p = text;
  while (*p != '\0' && found < 2) {
    while (*p == ' ') ++p;
    if (*p == '\0') break;
    const char* start = p;
    while (*p != '\0' && *p != ' ') ++p;
    tokens[found++].assign(start, p);
  }
  first = tokens[0];
  second = tokens[1];
  return found > 0;
}

}  // namespace

void Preparable::loadAnimations(SceneGraph* scene, Configuration* configuration, float animOffset, float animScale) {
  // Counts come from the text and are trusted, except that a run of absent
  // entries longer than the whole configuration cannot hide anything more:
  // the loops stop there instead of looking up an absurd count one by one.
  const std::size_t gapLimit = configuration->Count();
  const int animations = configuration->GetInt("animations");
  std::size_t missingFields = 0;
  for (int i = 0; i < animations && missingFields <= gapLimit; ++i) {
    const bool looping = configuration->GetInt(animationKey(i, "looping").c_str()) == 1;
    // An animation without a field name asks for the empty name, which no
    // class knows: the target reports it as an invalid control field.
    const char* fieldName = configuration->GetString(animationKey(i, "field").c_str());
    missingFields = fieldName != nullptr ? 0 : missingFields + 1;
    auto* controller = new KeyframeFloatController(this, fieldName != nullptr ? fieldName : "", looping);
    scene->controllers.push_back(controller);

    const int keyframes = configuration->GetInt(animationKey(i, "keyframes").c_str());
    std::size_t missingKeys = 0;
    for (int j = 0; j < keyframes && missingKeys <= gapLimit; ++j) {
      const char* text = configuration->GetString(keyframeKey(i, j).c_str());
      if (text == nullptr) {
        ++missingKeys;
        continue;
      }
      missingKeys = 0;
      std::string time, value;
      if (!splitKeyText(text, time, value)) continue;
      KeyFloat key;
      key.time = float(ParseDecimalFloat(time.c_str()) * animScale + animOffset);
      key.value = float(ParseDecimalFloat(value.c_str()));
      controller->addKey(key);
    }
  }
}
