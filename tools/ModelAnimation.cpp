#include "tools/ModelAnimation.h"

#include <algorithm>
#include <cmath>

namespace {

// Keys of one kind: the index of the last key at or before ticks and the
// blend towards the next one (0 before the first and after the last key).
template <class Key>
void segment(const Key* keys, unsigned count, double ticks, unsigned* at, float* blend) {
  *at = 0;
  *blend = 0.0f;
  if (count == 0 || ticks <= keys[0].mTime) return;
  if (ticks >= keys[count - 1].mTime) {
    *at = count - 1;
    return;
  }
  const Key* next = std::upper_bound(keys, keys + count, ticks, [](double t, const Key& k) { return t < k.mTime; });
  *at = unsigned(next - keys) - 1;
  const double span = keys[*at + 1].mTime - keys[*at].mTime;
  *blend = span > 0 ? float((ticks - keys[*at].mTime) / span) : 0.0f;
}

aiVector3D lerpKeys(const aiVectorKey* keys, unsigned count, double ticks, const aiVector3D& fallback) {
  if (count == 0) return fallback;
  unsigned at;
  float s;
  segment(keys, count, ticks, &at, &s);
  if (s == 0.0f) return keys[at].mValue;
  return keys[at].mValue + (keys[at + 1].mValue - keys[at].mValue) * s;
}

aiQuaternion slerpKeys(const aiQuatKey* keys, unsigned count, double ticks, const aiQuaternion& fallback) {
  if (count == 0) return fallback;
  unsigned at;
  float s;
  segment(keys, count, ticks, &at, &s);
  if (s == 0.0f) return keys[at].mValue;
  aiQuaternion out;
  aiQuaternion::Interpolate(out, keys[at].mValue, keys[at + 1].mValue, s);  // shortest arc
  return out.Normalize();
}

// Node names as the importers give morph channels: "node" or "node*mesh".
std::string morphNodeName(const aiString& name) {
  std::string text = name.C_Str();
  const std::size_t star = text.find('*');
  return star == std::string::npos ? text : text.substr(0, star);
}

}  // namespace

ModelAnimation::ModelAnimation(const aiScene& scene, const aiAnimation* animation)
    : m_scene(scene), m_animation(animation) {
  if (animation == nullptr) return;
  if (animation->mTicksPerSecond > 0) m_ticksPerSecond = animation->mTicksPerSecond;
  double lastTicks = animation->mDuration > 0 ? animation->mDuration : 0.0;
  m_repeats = animation->mNumChannels > 0;
  for (unsigned i = 0; i < animation->mNumChannels; ++i) {
    const aiNodeAnim* c = animation->mChannels[i];
    m_channels.emplace(c->mNodeName.C_Str(), c);
    if (c->mPostState != aiAnimBehaviour_REPEAT) m_repeats = false;
    if (c->mNumPositionKeys) lastTicks = std::max(lastTicks, c->mPositionKeys[c->mNumPositionKeys - 1].mTime);
    if (c->mNumRotationKeys) lastTicks = std::max(lastTicks, c->mRotationKeys[c->mNumRotationKeys - 1].mTime);
    if (c->mNumScalingKeys) lastTicks = std::max(lastTicks, c->mScalingKeys[c->mNumScalingKeys - 1].mTime);
  }
  for (unsigned i = 0; i < animation->mNumMorphMeshChannels; ++i) {
    const aiMeshMorphAnim* c = animation->mMorphMeshChannels[i];
    m_morphs.emplace(morphNodeName(c->mName), c);
    if (c->mNumKeys) lastTicks = std::max(lastTicks, c->mKeys[c->mNumKeys - 1].mTime);
  }
  m_durationMs = toMs(lastTicks);
}

const aiNodeAnim* ModelAnimation::channel(const aiNode* node) const {
  const auto found = m_channels.find(node->mName.C_Str());
  return found == m_channels.end() ? nullptr : found->second;
}

const aiMeshMorphAnim* ModelAnimation::morphChannel(const aiNode* node) const {
  const auto found = m_morphs.find(node->mName.C_Str());
  return found == m_morphs.end() ? nullptr : found->second;
}

aiMatrix4x4 ModelAnimation::local(const aiNode* node, double ms) const {
  const aiNodeAnim* c = channel(node);
  if (c == nullptr) return node->mTransformation;
  aiVector3D scale, position;
  aiQuaternion rotation;
  node->mTransformation.Decompose(scale, rotation, position);
  const double ticks = toTicks(ms);
  position = lerpKeys(c->mPositionKeys, c->mNumPositionKeys, ticks, position);
  rotation = slerpKeys(c->mRotationKeys, c->mNumRotationKeys, ticks, rotation);
  scale = lerpKeys(c->mScalingKeys, c->mNumScalingKeys, ticks, scale);
  return aiMatrix4x4(scale, rotation, position);
}

void ModelAnimation::globalsBelow(const aiNode* node, const aiMatrix4x4& parent, double ms,
                                  std::unordered_map<const aiNode*, aiMatrix4x4>* out) const {
  const aiMatrix4x4 global = parent * local(node, ms);
  (*out)[node] = global;
  for (unsigned i = 0; i < node->mNumChildren; ++i) globalsBelow(node->mChildren[i], global, ms, out);
}

void ModelAnimation::globals(double ms, std::unordered_map<const aiNode*, aiMatrix4x4>* out) const {
  if (m_scene.mRootNode) globalsBelow(m_scene.mRootNode, aiMatrix4x4(), ms, out);
}

std::vector<float> ModelAnimation::morphWeights(const aiMeshMorphAnim& c, std::size_t targets, double ms) const {
  std::vector<float> weights(targets, 0.0f);
  if (c.mNumKeys == 0) return weights;
  unsigned at;
  float s;
  segment(c.mKeys, c.mNumKeys, toTicks(ms), &at, &s);
  auto add = [&](const aiMeshMorphKey& key, float factor) {
    for (unsigned i = 0; i < key.mNumValuesAndWeights; ++i)
      if (key.mValues[i] < targets) weights[key.mValues[i]] += float(key.mWeights[i]) * factor;
  };
  add(c.mKeys[at], 1.0f - s);
  if (s > 0.0f) add(c.mKeys[at + 1], s);
  return weights;
}

std::vector<std::uint32_t> ModelAnimation::keyTimes(const aiNodeAnim& c) const {
  std::vector<std::uint32_t> times;
  // Whole ms from 0 to 2^32 - 1; NaN counts as 0.
  auto add = [&](double ticks) {
    const double ms = std::round(toMs(ticks));
    times.push_back(ms > 0 ? std::uint32_t(std::min(ms, 4294967295.0)) : 0);
  };
  for (unsigned i = 0; i < c.mNumPositionKeys; ++i) add(c.mPositionKeys[i].mTime);
  for (unsigned i = 0; i < c.mNumRotationKeys; ++i) add(c.mRotationKeys[i].mTime);
  for (unsigned i = 0; i < c.mNumScalingKeys; ++i) add(c.mScalingKeys[i].mTime);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}
