#include "platform/movie/SwfHeader.h"

#include "TestMovies.h"

#include <gtest/gtest.h>

#include <random>

namespace {

SwfStatus read(const MovieBytes& bytes, SwfHeader* header) { return readSwfHeader(bytes.data(), bytes.size(), header); }

TEST(SwfHeaderTest, ReadsEveryFieldOfPlainAndCompressedMovies) {
  TestMovie movie;
  movie.version = 9;
  movie.xMin = -200;  // twips
  movie.xMax = 6400;
  movie.yMin = 40;
  movie.yMax = 4840;
  movie.frameRate = 0x1880;  // 24.5 frames per second
  movie.frameCount = 4321;
  for (char signature : {'F', 'C'}) {
    movie.signature = signature;
    SwfHeader header;
    ASSERT_EQ(read(movieFile(movie), &header), SwfStatus::ok) << signature;
    EXPECT_EQ(header.signature, signature);
    EXPECT_EQ(header.version, 9);
    EXPECT_EQ(header.fileLength, 8 + movieBody(movie).size());
    EXPECT_EQ(header.frameSize.left, -200);
    EXPECT_EQ(header.frameSize.right, 6400);
    EXPECT_EQ(header.frameSize.top, 40);
    EXPECT_EQ(header.frameSize.bottom, 4840);
    EXPECT_EQ(header.widthPixels(), 330);
    EXPECT_EQ(header.heightPixels(), 240);
    EXPECT_DOUBLE_EQ(header.framesPerSecond(), 24.5);
    EXPECT_EQ(header.frameCount, 4321);
    // 5 + 4 * 14 bits -> 8 bytes of RECT
    EXPECT_EQ(header.headerLength, 8u + 8u + 4u);
  }
}

TEST(SwfHeaderTest, RectFieldWidthsFromZeroToThirtyOneBits) {
  TestMovie movie;
  movie.rectBits = 0;
  movie.xMin = movie.xMax = movie.yMin = movie.yMax = 0;
  movie.frameCount = 7;
  SwfHeader header;
  ASSERT_EQ(read(movieFile(movie), &header), SwfStatus::ok);
  EXPECT_EQ(header.frameCount, 7);
  EXPECT_EQ(header.headerLength, 8u + 1u + 4u);
  EXPECT_EQ(header.widthPixels(), 0);

  movie.rectBits = 31;
  movie.xMin = -(1 << 30);
  movie.xMax = (1 << 30) - 1;
  movie.yMin = -1;
  movie.yMax = 1;
  ASSERT_EQ(read(movieFile(movie), &header), SwfStatus::ok);
  EXPECT_EQ(header.frameSize.left, -(1 << 30));
  EXPECT_EQ(header.frameSize.right, (1 << 30) - 1);
  EXPECT_EQ(header.frameSize.top, -1);
  EXPECT_EQ(header.frameCount, 7);
  EXPECT_EQ(header.headerLength, kSwfMaxHeaderLength);
}

TEST(SwfHeaderTest, RefusesFilesThatAreNotMovies) {
  SwfHeader header;
  const MovieBytes text = {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '!', '!', '!', '!', '!'};
  EXPECT_EQ(read(text, &header), SwfStatus::notAMovie);
  EXPECT_EQ(read({'F', 'W', 'X', 10, 0, 0, 0, 0}, &header), SwfStatus::notAMovie);
  EXPECT_EQ(read({'f', 'W', 'S', 10, 0, 0, 0, 0}, &header), SwfStatus::notAMovie);  // case matters
  EXPECT_EQ(read({'G', 'W'}, &header), SwfStatus::notAMovie);
  EXPECT_EQ(read({}, &header), SwfStatus::truncated);
  EXPECT_EQ(readSwfHeader(nullptr, 100, &header), SwfStatus::truncated);

  TestMovie lzma;
  lzma.signature = 'Z';
  EXPECT_EQ(read(movieFile(lzma), &header), SwfStatus::unsupported);
}

TEST(SwfHeaderTest, EveryCutInsideTheHeaderIsTruncated) {
  for (char signature : {'F', 'C'}) {
    TestMovie movie;
    movie.signature = signature;
    movie.tags.clear();  // the file ends with the header
    const MovieBytes whole = movieFile(movie);
    // Cuts below some length are truncated, cuts from it on read the header;
    // nothing in between. Plain: the length is the whole header. Compressed:
    // somewhere inside the stream, never needing its 4-byte checksum.
    std::size_t firstComplete = 0;
    for (std::size_t cut = 3; cut <= whole.size(); ++cut) {
      SwfHeader header;
      const SwfStatus status = read(MovieBytes(whole.begin(), whole.begin() + long(cut)), &header);
      if (firstComplete == 0 && status == SwfStatus::ok) firstComplete = cut;
      EXPECT_EQ(status, firstComplete ? SwfStatus::ok : SwfStatus::truncated) << signature << " cut at " << cut;
    }
    if (signature == 'F') EXPECT_EQ(firstComplete, whole.size());
    else EXPECT_TRUE(firstComplete > 10 && firstComplete <= whole.size() - 4) << firstComplete;
  }
}

TEST(SwfHeaderTest, DamagedCompressionOrLengthIsRefused) {
  MovieBytes broken = compressedMovie(3);
  broken[8] = 0x12;  // not a zlib stream header
  SwfHeader header;
  EXPECT_EQ(read(broken, &header), SwfStatus::damaged);

  TestMovie shortLength;
  shortLength.fileLength = 12;  // smaller than the header itself
  EXPECT_EQ(read(movieFile(shortLength), &header), SwfStatus::damaged);
  shortLength.signature = 'C';
  EXPECT_EQ(read(movieFile(shortLength), &header), SwfStatus::damaged);

  // A stream that says it is complete before the header is: not enough bytes.
  TestMovie empty;
  empty.signature = 'C';
  empty.rectBits = 20;
  MovieBytes file = movieFile(empty);
  file.resize(8);
  const unsigned char emptyStream[] = {0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01};  // zlib of ""
  file.insert(file.end(), std::begin(emptyStream), std::end(emptyStream));
  EXPECT_EQ(read(file, &header), SwfStatus::truncated);
}

TEST(SwfHeaderTest, LengthFieldLargerThanTheFileIsAccepted) {
  // Only the header is needed; the player reads the rest as it goes.
  TestMovie movie;
  movie.fileLength = 0x7FFFFFFF;
  SwfHeader header;
  EXPECT_EQ(read(movieFile(movie), &header), SwfStatus::ok);
  EXPECT_EQ(header.fileLength, 0x7FFFFFFFu);
}

TEST(SwfHeaderTest, RandomBytesBehindAValidPrefixNeverCrash) {
  std::mt19937 random(1234);
  int accepted = 0;
  for (int round = 0; round < 2000; ++round) {
    MovieBytes bytes(3 + random() % 40);
    for (auto& b : bytes) b = std::uint8_t(random());
    bytes[0] = (round & 1) ? 'C' : 'F';
    bytes[1] = 'W';
    bytes[2] = 'S';
    SwfHeader header;
    const SwfStatus status = read(bytes, &header);
    if (status == SwfStatus::ok) {
      ++accepted;
      EXPECT_GE(header.fileLength, header.headerLength);
      EXPECT_LE(header.headerLength, kSwfMaxHeaderLength);
    }
  }
  EXPECT_GT(accepted, 0);  // plain movies with a sane length field do get through
}

}  // namespace
