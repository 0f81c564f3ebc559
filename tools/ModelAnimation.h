#pragma once
// One animation of an imported model, evaluated at any time: each node's
// local transform (channels interpolated as the scene's keyframe controllers
// do: positions and scales linearly, rotations by shortest-arc slerp), the
// global transforms of the whole tree, and the morph-target weights of a
// mesh. Everything in the model's own space; times in ms.
#include <assimp/anim.h>
#include <assimp/scene.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

class ModelAnimation {
 public:
  // animation may be null: every node then keeps its own transform.
  ModelAnimation(const aiScene& scene, const aiAnimation* animation);

  const aiAnimation* animation() const { return m_animation; }
  // Last key time of the animation, ms (its stated duration when longer).
  double durationMs() const { return m_durationMs; }
  // Whether the model asks for the animation to repeat: every channel's
  // state after its last key is "repeat".
  bool repeats() const { return m_repeats; }

  const aiNodeAnim* channel(const aiNode* node) const;
  const aiMeshMorphAnim* morphChannel(const aiNode* node) const;

  aiMatrix4x4 local(const aiNode* node, double ms) const;
  // Global transform of every node at ms.
  void globals(double ms, std::unordered_map<const aiNode*, aiMatrix4x4>* out) const;
  // Weight of each morph target at ms (index = aiMesh::mAnimMeshes index).
  std::vector<float> morphWeights(const aiMeshMorphAnim& channel, std::size_t targets, double ms) const;

  // The key times of a channel (all three kinds merged), whole ms, ascending
  // and distinct.
  std::vector<std::uint32_t> keyTimes(const aiNodeAnim& channel) const;

 private:
  double toMs(double ticks) const { return ticks * 1000.0 / m_ticksPerSecond; }
  double toTicks(double ms) const { return ms * m_ticksPerSecond / 1000.0; }
  void globalsBelow(const aiNode* node, const aiMatrix4x4& parent, double ms,
                    std::unordered_map<const aiNode*, aiMatrix4x4>* out) const;

  const aiScene& m_scene;
  const aiAnimation* m_animation;
  double m_ticksPerSecond = 25.0;
  double m_durationMs = 0.0;
  bool m_repeats = false;
  std::unordered_map<std::string, const aiNodeAnim*> m_channels;        // by node name
  std::unordered_map<std::string, const aiMeshMorphAnim*> m_morphs;     // by node name
};
