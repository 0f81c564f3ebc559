// GLSL scanning and wrapping of the system's own stages (no context needed).
#include "platform/gfx/gl/GlProgram.h"

#include <gtest/gtest.h>

namespace {

const char* kVertex = R"(#version 330 core
// out vec4 COMMENTED;
layout(location = 0) in vec3 position;
uniform vec4 LightPos;
flat out vec4 COLOR0;
out vec2 TEXCOORD1;
out float FOG;
void helper(out vec4 notAVarying) { notAVarying = vec4(1.0); }
void main() {
  vec4 local;
  gl_Position = vec4(position * LightPos.xyz, 1.0e0);
  COLOR0 = vec4(1.0);
  TEXCOORD1 = vec2(0.0);
  FOG = 1.0;
}
)";

TEST(GlslScanning, FindsGlobalOutputsOnly) {
  const std::vector<ShaderVarying> outputs = declaredVaryings(kVertex, "out");
  ASSERT_EQ(outputs.size(), 3u);
  EXPECT_EQ(outputs[0].type, "vec4");
  EXPECT_EQ(outputs[0].name, "COLOR0");
  EXPECT_EQ(outputs[1].type, "vec2");
  EXPECT_EQ(outputs[1].name, "TEXCOORD1");
  EXPECT_EQ(outputs[2].name, "FOG");
  const std::vector<ShaderVarying> inputs = declaredVaryings(kVertex, "in");
  ASSERT_EQ(inputs.size(), 1u);
  EXPECT_EQ(inputs[0].type, "vec3");
  EXPECT_EQ(inputs[0].name, "position");
}

TEST(GlslScanning, IdentifiersSurviveSwizzlesButNotComments) {
  EXPECT_TRUE(mentionsIdentifier(kVertex, "LightPos")) << "used as LightPos.xyz";
  EXPECT_FALSE(mentionsIdentifier(kVertex, "COMMENTED"));
  EXPECT_FALSE(mentionsIdentifier(kVertex, "Light"));
  EXPECT_FALSE(mentionsIdentifier(kVertex, "e0")) << "part of the number 1.0e0";
}

TEST(GlslScanning, WrappingRenamesTheEntryPointOnce) {
  const std::string wrapped = wrapVertexStage(kVertex);
  EXPECT_NE(wrapped.find("void vx_userMain()"), std::string::npos);
  EXPECT_NE(wrapped.find("void helper(out vec4"), std::string::npos);
  size_t mains = 0;
  for (const GlslToken& t : tokenizeGlsl(wrapped)) mains += t.text == "main";
  EXPECT_EQ(mains, 1u) << "only the appended entry point";

  const char* pixel = "#version 330 core\nin float FOG;\nlayout(location = 0) out vec4 color;\n"
                      "void main() { color = vec4(1.0); }\n";
  const std::string fogged = wrapPixelStage(pixel, 0, true, true);
  EXPECT_NE(fogged.find("color.rgb = mix(vx_fogColor.rgb, color.rgb, FOG)"), std::string::npos);
  size_t fogDeclarations = 0;
  for (const ShaderVarying& v : declaredVaryings(fogged, "in")) fogDeclarations += v.name == "FOG";
  EXPECT_EQ(fogDeclarations, 1u) << "FOG is not declared twice";
  const std::string tested = wrapPixelStage(pixel, 5 /* GREATER */, false, false);
  EXPECT_NE(tested.find("> vx_alphaRef"), std::string::npos);
  EXPECT_EQ(tested.find("FOG);"), std::string::npos);
  EXPECT_EQ(wrapPixelStage("void main() {}", 0, true, true), "void main() {}") << "no colour output: unchanged";
}

}  // namespace
