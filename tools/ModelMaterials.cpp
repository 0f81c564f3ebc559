#include "tools/ModelMaterials.h"

#include "platform/d3dx/ImageDecoder.h"
#include "tools/ToolIO.h"

#include <assimp/GltfMaterial.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

enum class ImageKind { png, jpeg, other };

ImageKind sniff(const std::vector<unsigned char>& bytes) {
  static const unsigned char kPng[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  if (bytes.size() >= 8 && std::memcmp(bytes.data(), kPng, 8) == 0) return ImageKind::png;
  if (bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) return ImageKind::jpeg;
  return ImageKind::other;
}

std::string lower(std::string text) {
  for (char& c : text) c = char(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string baseName(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string stem(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::string extension(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : lower(name.substr(dot + 1));
}

bool decodeArgb(const std::vector<unsigned char>& bytes, std::vector<std::uint32_t>* argb, unsigned* w, unsigned* h) {
  DecodedImage image;
  if (FAILED(decodeImage(bytes.data(), bytes.size(), image))) return false;
  *w = image.width;
  *h = image.height;
  argb->resize(std::size_t(image.width) * image.height);
  for (unsigned y = 0; y < image.height; ++y)
    for (unsigned x = 0; x < image.width; ++x) (*argb)[std::size_t(y) * image.width + x] = image.texel(x, y);
  return true;
}

float luminance(std::uint32_t argb) {
  return (0.2125f * float((argb >> 16) & 0xFF) + 0.7154f * float((argb >> 8) & 0xFF) + 0.0721f * float(argb & 0xFF)) /
         255.0f;
}

std::uint8_t channelByte(float c) {
  if (!(c > 0.0f)) return 0;
  if (c >= 1.0f) return 255;
  return std::uint8_t(c * 255.0f + 0.5f);
}

}  // namespace

std::uint32_t packArgb(float r, float g, float b, float a) {
  return std::uint32_t(channelByte(a)) << 24 | std::uint32_t(channelByte(r)) << 16 |
         std::uint32_t(channelByte(g)) << 8 | channelByte(b);
}

bool writePngRgba(const std::string& path, const std::vector<std::uint32_t>& argb, unsigned width, unsigned height,
                  std::string* error) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return *error = "cannot write '" + path + "'", false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::vector<png_byte> row(std::size_t(width) * 4);
  bool ok = png && info;
  if (ok && setjmp(png_jmpbuf(png))) ok = false;
  if (ok) {
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGBA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (unsigned y = 0; y < height; ++y) {
      for (unsigned x = 0; x < width; ++x) {
        const std::uint32_t c = argb[std::size_t(y) * width + x];
        row[x * 4 + 0] = png_byte(c >> 16);
        row[x * 4 + 1] = png_byte(c >> 8);
        row[x * 4 + 2] = png_byte(c);
        row[x * 4 + 3] = png_byte(c >> 24);
      }
      png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
  }
  png_destroy_write_struct(png ? &png : nullptr, info ? &info : nullptr);
  ok = (std::fclose(file) == 0) && ok;
  if (!ok) *error = "cannot write '" + path + "'";
  return ok;
}

std::vector<std::uint32_t> normalsFromHeights(const std::vector<std::uint32_t>& argb, unsigned width,
                                              unsigned height, float strength) {
  std::vector<std::uint32_t> out(argb.size());
  auto h = [&](unsigned x, unsigned y) { return luminance(argb[std::size_t(y % height) * width + x % width]); };
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      // Central differences in heights per texel; the edges wrap as the
      // texture does.
      const float du = (h(x + 1, y) - h(x + width - 1, y)) * 0.5f;
      const float dv = (h(x, y + 1) - h(x, y + height - 1)) * 0.5f;
      float n[3] = {-du * strength, -dv * strength, 1.0f};
      const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
      for (float& c : n) c = (c / length + 1.0f) * 0.5f;
      out[std::size_t(y) * width + x] = packArgb(n[0], n[1], n[2], 1.0f);
    }
  }
  return out;
}

ModelTextures::ModelTextures(const aiScene& scene, std::string modelDir, std::string outDir, std::uint32_t* nextId,
                             std::function<void(const std::string&)> warn)
    : m_scene(scene), m_modelDir(std::move(modelDir)), m_outDir(std::move(outDir)), m_nextId(nextId),
      m_warn(std::move(warn)) {}

std::string ModelTextures::uniqueName(const std::string& wanted) {
  std::string name = wanted;
  for (int n = 2; m_names.count(lower(name)); ++n) {
    const std::string ext = extension(wanted);
    name = stem(wanted) + "_" + std::to_string(n) + (ext.empty() ? "" : "." + ext);
  }
  m_names.insert(lower(name));
  return name;
}

bool ModelTextures::source(const std::string& path, std::vector<unsigned char>* bytes,
                           std::vector<std::uint32_t>* texels, unsigned* width, unsigned* height, std::string* name,
                           std::string* why) {
  if (const aiTexture* embedded = m_scene.GetEmbeddedTexture(path.c_str())) {
    std::string hint = embedded->achFormatHint;
    std::string given = embedded->mFilename.length ? baseName(embedded->mFilename.C_Str()) : "";
    if (given.empty()) given = "texture" + (path[0] == '*' ? path.substr(1) : std::string());
    if (embedded->mHeight == 0) {
      const auto* data = reinterpret_cast<const unsigned char*>(embedded->pcData);
      bytes->assign(data, data + embedded->mWidth);
      *name = extension(given).empty() ? given + "." + hint : given;
      return true;
    }
    // Raw texels, B G R A each, rows top first.
    texels->resize(std::size_t(embedded->mWidth) * embedded->mHeight);
    for (std::size_t i = 0; i < texels->size(); ++i) {
      const aiTexel& t = embedded->pcData[i];
      (*texels)[i] = std::uint32_t(t.a) << 24 | std::uint32_t(t.r) << 16 | std::uint32_t(t.g) << 8 | t.b;
    }
    *width = embedded->mWidth;
    *height = embedded->mHeight;
    *name = stem(given) + ".png";
    return true;
  }
  if (!path.empty() && path[0] == '*') return *why = "the model has no embedded image " + path, false;

  // Paths written on other systems use backslashes; an absolute path that
  // does not exist here is looked for beside the model.
  std::string file = path;
  std::replace(file.begin(), file.end(), '\\', '/');
  const std::string candidates[] = {file.size() && file[0] == '/' ? file : m_modelDir + "/" + file,
                                    m_modelDir + "/" + baseName(file)};
  for (const std::string& candidate : candidates) {
    std::string ignored;
    if (readFile(candidate, bytes, &ignored)) {
      *name = baseName(file);
      return true;
    }
  }
  *why = "cannot read '" + path + "'";
  return false;
}

std::uint32_t ModelTextures::image(const std::string& path, bool fromHeight, float strength) {
  const std::string key = (fromHeight ? "height:" : "image:") + path;
  const auto done = m_done.find(key);
  if (done != m_done.end()) return done->second;
  std::uint32_t& id = m_done[key];
  id = vxk::kNoId;

  std::vector<unsigned char> bytes;
  std::vector<std::uint32_t> argb;
  unsigned w = 0, h = 0;
  std::string name, why;
  if (!source(path, &bytes, &argb, &w, &h, &name, &why)) {
    m_warn("texture '" + path + "' left out: " + why);
    return id;
  }
  const ImageKind kind = argb.empty() ? sniff(bytes) : ImageKind::other;
  std::string outName;
  std::string error;
  if (!fromHeight && kind != ImageKind::other) {
    // As it is; the extension must say what it is, since the player takes
    // alpha from the last three letters ("png" has alpha, "jpg" has not).
    const std::string ext = extension(name);
    const bool named = kind == ImageKind::png ? ext == "png" : (ext == "jpg" || ext == "jpeg");
    outName = uniqueName(named ? name : stem(name) + (kind == ImageKind::png ? ".png" : ".jpg"));
    if (!writeFileSafely(m_outDir + "/" + outName, bytes.data(), bytes.size(), false, 0644, &error)) {
      m_warn("texture '" + path + "' left out: " + error);
      return id;
    }
  } else {
    if (argb.empty() && !decodeArgb(bytes, &argb, &w, &h)) {
      m_warn("texture '" + path + "' left out: not an image this tool can read (PNG, JPEG, TGA, BMP)");
      return id;
    }
    if (fromHeight) argb = normalsFromHeights(argb, w, h, strength);
    outName = uniqueName(stem(name) + (fromHeight ? "_normal.png" : ".png"));
    if (!writePngRgba(m_outDir + "/" + outName, argb, w, h, &error)) {
      m_warn("texture '" + path + "' left out: " + error);
      return id;
    }
  }
  id = (*m_nextId)++;
  m_written.push_back({id, outName});
  return id;
}

namespace {

bool textureOf(const aiMaterial& m, aiTextureType type, std::string* path, unsigned* uvSet) {
  if (m.GetTextureCount(type) == 0) return false;
  aiString p;
  unsigned uv = 0;
  if (m.GetTexture(type, 0, &p, nullptr, &uv) != AI_SUCCESS) return false;
  *path = p.C_Str();
  *uvSet = uv;
  return !path->empty();
}

}  // namespace

vxk::MaterialRecord convertMaterial(const aiMaterial& material, ModelTextures& textures, bool modelHasSecondUv,
                                    std::function<void(const std::string&)> warn) {
  vxk::MaterialRecord r;
  aiString nameText;
  material.Get(AI_MATKEY_NAME, nameText);
  const std::string name = std::string("material '") + nameText.C_Str() + "': ";

  aiColor4D diffuse(1, 1, 1, 1), specular(1, 1, 1, 1), emissive(0, 0, 0, 1);
  material.Get(AI_MATKEY_COLOR_DIFFUSE, diffuse);
  aiColor4D ambient = diffuse;  // no ambient colour: ambient light shows the diffuse colour
  material.Get(AI_MATKEY_COLOR_AMBIENT, ambient);
  const bool hasSpecular = material.Get(AI_MATKEY_COLOR_SPECULAR, specular) == AI_SUCCESS;
  material.Get(AI_MATKEY_COLOR_EMISSIVE, emissive);
  float opacity = diffuse.a;
  material.Get(AI_MATKEY_OPACITY, opacity);

  // The player lights with a fixed highlight exponent of 32; the model's
  // shininess (0 ... 100 and up) sets how strong the highlight is instead.
  float shininess = 0.0f, strength = 1.0f;
  const bool hasShininess = material.Get(AI_MATKEY_SHININESS, shininess) == AI_SUCCESS;
  material.Get(AI_MATKEY_SHININESS_STRENGTH, strength);
  r.specularLevel = hasShininess ? strength * std::clamp(shininess, 0.0f, 100.0f) / 100.0f : 0.0f;
  if (!hasSpecular) specular = aiColor4D(1, 1, 1, 1);

  r.diffuseColor = packArgb(diffuse.r, diffuse.g, diffuse.b, 1.0f);
  r.specularColor = packArgb(specular.r, specular.g, specular.b, 1.0f);
  r.ambientColor = packArgb(ambient.r, ambient.g, ambient.b, 1.0f);
  // The player's self-illumination is one grey level (the emissive red).
  const float glow = std::max({emissive.r, emissive.g, emissive.b});
  if (glow > 0 && (emissive.r != emissive.g || emissive.g != emissive.b))
    warn(name + "coloured emission becomes grey self-illumination of its brightest channel");
  r.emissiveColor = packArgb(glow, glow, glow, 1.0f);
  r.opacity = std::clamp(opacity, 0.0f, 1.0f);

  // Transparency: blended materials mix by alpha with depth writes (2),
  // additive ones add (1); cut-outs are drawn blended.
  aiString alphaMode;
  int blend = aiBlendMode_Default;
  material.Get(AI_MATKEY_BLEND_FUNC, blend);
  if (blend == aiBlendMode_Additive) {
    r.blendMode = 1;
  } else if (material.Get(AI_MATKEY_GLTF_ALPHAMODE, alphaMode) == AI_SUCCESS) {
    const std::string mode = alphaMode.C_Str();
    if (mode == "BLEND") r.blendMode = 2;
    if (mode == "MASK") {
      r.blendMode = 2;
      warn(name + "alpha cut-out drawn as alpha blending");
    }
  } else if (r.opacity < 1.0f) {
    r.blendMode = 2;
  }

  std::string path;
  unsigned uv = 0;
  // The player's second set is the model's first where the model has one.
  auto expectSet = [&](const char* what, unsigned used, unsigned read) {
    const unsigned source = read == 1 && !modelHasSecondUv ? 0 : read;
    if (used != source)
      warn(name + what + " uses texture coordinate set " + std::to_string(used) + "; the player reads set " +
           std::to_string(source));
  };
  if (textureOf(material, aiTextureType_DIFFUSE, &path, &uv) ||
      textureOf(material, aiTextureType_BASE_COLOR, &path, &uv)) {
    r.diffuseMap = textures.image(path);
    expectSet("diffuse map", uv, 0);
  }
  if (textureOf(material, aiTextureType_SPECULAR, &path, &uv)) {
    r.specularMap = textures.image(path);
    expectSet("specular map", uv, 0);
  }
  if (textureOf(material, aiTextureType_LIGHTMAP, &path, &uv)) {
    r.lightMap = textures.image(path);
    expectSet("light map", uv, 1);
  }
  if (textureOf(material, aiTextureType_REFLECTION, &path, &uv)) r.sphereMap = textures.image(path);
  if (textureOf(material, aiTextureType_NORMALS, &path, &uv)) {
    r.normalMap = textures.image(path);
    expectSet("normal map", uv, 1);
  } else if (textureOf(material, aiTextureType_HEIGHT, &path, &uv)) {
    float bump = 1.0f;
    material.Get(AI_MATKEY_BUMPSCALING, bump);
    r.normalMap = textures.image(path, true, 2.0f * bump);
    expectSet("height map", uv, 1);
  }
  // Maps the scene format has no place for.
  const std::pair<aiTextureType, const char*> dropped[] = {
      {aiTextureType_EMISSIVE, "emission map"},     {aiTextureType_OPACITY, "opacity map"},
      {aiTextureType_SHININESS, "shininess map"},   {aiTextureType_DISPLACEMENT, "displacement map"},
      {aiTextureType_AMBIENT_OCCLUSION, "occlusion map"}, {aiTextureType_METALNESS, "metalness map"},
      {aiTextureType_DIFFUSE_ROUGHNESS, "roughness map"},
  };
  for (const auto& [type, what] : dropped)
    if (material.GetTextureCount(type) > 0) warn(name + what + " left out (the scene format has none)");
  return r;
}
