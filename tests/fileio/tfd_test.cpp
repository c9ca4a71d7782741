// TFD files: CreateTFD, ReadTFD, WriteTFD, FreeTFD and the tensors of a pair.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

#include "fileio/tfd.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/checkers.h"
#include "tests/support/child_process.h"
#include "tests/support/ctc_bytes.h"
#include "tests/support/temporary_folder.h"

namespace {

using support::Bytes;
using support::in_child;
using support::TemporaryFolder;

// What a file states. The counts may lie.
struct Header {
    std::uint32_t fileVersion = 1;
    std::string firstText = "first text";
    std::string secondText = "second";
    std::uint32_t pairs = 2;
    std::vector<std::uint32_t> pairValues = {7, 0xDEADBEEF};
    std::uint32_t extentA = 3;
    std::uint32_t extentB = 2;
    std::vector<float> extentBValues = {1.5f, -2.25f};
    std::uint32_t extentC = 4;
    float first = 0.5f;
    float second = -3.0f;
    float third = 1e30f;
    std::uint32_t extras = 3;
    std::vector<std::uint32_t> extraValues = {1, 0xFFFFFFFF, 3};
};

std::string bytes_of(const Header& header) {
    Bytes out;
    out.u32(header.fileVersion);
    out.raw(header.firstText).u8(0).raw(header.secondText).u8(0);
    out.u32(header.pairs);
    for (const std::uint32_t value : header.pairValues) {
        out.u32(value);
    }
    out.u32(header.extentA).u32(header.extentB);
    for (const float value : header.extentBValues) {
        out.f32(value);
    }
    out.u32(header.extentC).f32(header.first).f32(header.second).f32(header.third).u32(header.extras);
    for (const std::uint32_t value : header.extraValues) {
        out.u32(value);
    }
    return out.str();
}

constexpr unsigned int tensorElements = 3 * 2 * 4; // of the header above
constexpr unsigned int tensorBytes = tensorElements * 4;

// Element i of tensor k.
float element(unsigned int k, unsigned int i) {
    return static_cast<float>(1000 * (k + 1) + i) + 0.25f;
}

std::string tensor_bytes(unsigned int tensors = 4, unsigned int elements = tensorElements) {
    Bytes out;
    for (unsigned int k = 0; k < tensors; ++k) {
        for (unsigned int i = 0; i < elements; ++i) {
            out.f32(element(k, i));
        }
    }
    return out.str();
}

std::string whole_file() {
    return bytes_of(Header()) + tensor_bytes();
}

// Holds a structure and releases it with its loaded tensors.
class Tfd {
public:
    explicit Tfd(TFDStruct* structure) : tfd(structure) {}
    explicit Tfd(const std::string& path) : tfd(ReadTFD(path.c_str())) {}
    ~Tfd() {
        if (tfd != nullptr && tfd->Tensors != nullptr) {
            for (unsigned int i = 0; i < tfd->NrOfTensorPairs; ++i) {
                TFDFreeTensor(&tfd->Tensors[i]);
            }
        }
        FreeTFD(&tfd, 0);
    }
    Tfd(const Tfd&) = delete;
    Tfd& operator=(const Tfd&) = delete;

    TFDStruct* get() const { return tfd; }
    TFDStruct* operator->() const { return tfd; }
    TFDTensorStruct* pair(unsigned int i) const { return &tfd->Tensors[i]; }
    bool null() const { return tfd == nullptr; }

private:
    TFDStruct* tfd;
};

bool refused(const std::string& path) {
    return Tfd(path).null();
}

// A new file as the header says.
TFDStruct* create(const std::string& path, const Header& h) {
    return CreateTFD(path.c_str(), h.firstText.c_str(), h.secondText.c_str(), h.pairs, h.pairValues.data(), h.extentA,
                     h.extentB, h.extentBValues.data(), h.extentC, h.first, h.second, h.third, h.extras,
                     h.extraValues.data());
}

// One pair of 1 x 1 x C tensors.
Header line_header(std::uint32_t extentC) {
    Header header;
    header.pairs = 1;
    header.pairValues = {5};
    header.extentA = 1;
    header.extentB = 1;
    header.extentBValues = {2.0f};
    header.extentC = extentC;
    return header;
}

void expect_tensor(const float* data, unsigned int k) {
    ASSERT_NE(data, nullptr);
    for (unsigned int i = 0; i < tensorElements; ++i) {
        ASSERT_EQ(data[i], element(k, i)) << "tensor " << k << ", element " << i;
    }
}

std::ptrdiff_t open_files() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

// A path of exactly `length` characters to a file of the folder.
std::string padded(const TemporaryFolder& folder, const std::string& name, std::size_t length) {
    return folder.path() + std::string(length - folder.path().size() - name.size(), '/') + name;
}

} // namespace

TEST(ReadTFD, EveryHeaderFieldArrives) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    ASSERT_FALSE(tfd.null());
    EXPECT_EQ(tfd->FileVersion, 1u);
    EXPECT_STREQ(tfd->FirstText, "first text");
    EXPECT_STREQ(tfd->SecondText, "second");
    EXPECT_EQ(tfd->NrOfTensorPairs, 2u);
    EXPECT_EQ(tfd->PairValues[0], 7u);
    EXPECT_EQ(tfd->PairValues[1], 0xDEADBEEFu);
    EXPECT_EQ(tfd->ExtentA, 3u);
    EXPECT_EQ(tfd->ExtentB, 2u);
    EXPECT_EQ(tfd->ExtentBValues[0], 1.5f);
    EXPECT_EQ(tfd->ExtentBValues[1], -2.25f);
    EXPECT_EQ(tfd->ExtentC, 4u);
    EXPECT_EQ(tfd->FirstParameter, 0.5f);
    EXPECT_EQ(tfd->SecondParameter, -3.0f);
    EXPECT_EQ(tfd->ThirdParameter, 1e30f);
    EXPECT_EQ(tfd->NrOfExtraValues, 3u);
    EXPECT_EQ(tfd->ExtraValues[0], 1u);
    EXPECT_EQ(tfd->ExtraValues[1], 0xFFFFFFFFu);
    EXPECT_EQ(tfd->ExtraValues[2], 3u);
}

TEST(ReadTFD, TheViewsLieOverTheTensorsInFileOrder) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    const Tfd tfd(path);
    ASSERT_FALSE(tfd.null());
    const transio_struct* first = tfd.pair(0)->FirstView;
    for (unsigned int k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        const TFDTensorStruct* pair = tfd.pair(k / 2);
        const transio_struct* view = k % 2 == 0 ? pair->FirstView : pair->SecondView;
        EXPECT_EQ(view, first + k) << "one block, in tensor order";
        EXPECT_EQ(view->fileName, path);
        EXPECT_EQ(view->flags, 0x411u) << "float, read-write, open";
        EXPECT_EQ(view->stream, first->stream) << "one stream for all";
        EXPECT_EQ(view->baseOffset, bytes_of(Header()).size() + k * tensorBytes);
        EXPECT_EQ(view->elementSize, 4u);
        EXPECT_EQ(view->nDims, 3u);
        EXPECT_EQ(view->dims[0], 4u); // C, B, A
        EXPECT_EQ(view->dims[1], 2u);
        EXPECT_EQ(view->dims[2], 3u);
        EXPECT_EQ(view->elementCount, tensorElements);
        EXPECT_EQ(pair->FirstData, nullptr);
        EXPECT_EQ(pair->SecondData, nullptr);
    }
}

TEST(ReadTFD, WithoutExtraValuesTheTensorsFollowAtOnce) {
    const TemporaryFolder folder;
    Header header = line_header(1);
    header.extras = 0;
    header.extraValues = {};
    const Tfd tfd(folder.write("a.tfd", bytes_of(header) + Bytes().f32(8.5f).f32(-9.5f).str()));
    ASSERT_FALSE(tfd.null());
    EXPECT_EQ(tfd->NrOfExtraValues, 0u);
    EXPECT_EQ(tfd->ExtraValues, nullptr);
    ASSERT_EQ(TFDReadTensor(tfd.pair(0)), 1);
    EXPECT_EQ(tfd.pair(0)->FirstData[0], 8.5f);
    EXPECT_EQ(tfd.pair(0)->SecondData[0], -9.5f);
}

TEST(ReadTFD, OtherVersionsAreRefused) {
    const TemporaryFolder folder;
    for (const std::uint32_t version : {0u, 2u, 0x101u, 0x01000001u, 0xFFFFFFFFu}) {
        Header header;
        header.fileVersion = version;
        EXPECT_TRUE(refused(folder.write("a.tfd", bytes_of(header) + tensor_bytes()))) << version;
    }
}

TEST(ReadTFD, AFileCutAnywhereIsRefusedAndNotLengthened) {
    const TemporaryFolder folder;
    Header longText;
    longText.secondText = std::string(511, 'x');
    Header plain;
    plain.extras = 0;
    plain.extraValues = {};
    for (const Header& header : {Header(), longText, plain}) {
        const std::string bytes = bytes_of(header) + tensor_bytes();
        const std::ptrdiff_t before = open_files();
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const std::string path = folder.write("a.tfd", bytes.substr(0, length));
            ASSERT_TRUE(refused(path)) << length;
            ASSERT_EQ(std::filesystem::file_size(path), length);
        }
        EXPECT_EQ(open_files(), before);
        EXPECT_FALSE(refused(folder.write("a.tfd", bytes)));
    }
}

TEST(ReadTFD, BytesBehindTheTensorsDoNotMatter) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file() + "more");
    EXPECT_FALSE(refused(path));
    EXPECT_EQ(support::read_file(path), whole_file() + "more");
}

TEST(ReadTFD, TextsOfEveryLengthAreReadFromTheirPlaces) {
    const TemporaryFolder folder;
    for (const std::size_t first : {0, 1, 510, 511}) {
        for (const std::size_t second : {0, 510, 511}) {
            SCOPED_TRACE(std::to_string(first) + " and " + std::to_string(second));
            Header header;
            header.firstText = std::string(first, 'a');
            header.secondText = std::string(second, 'b');
            const Tfd tfd(folder.write("a.tfd", bytes_of(header) + tensor_bytes()));
            ASSERT_FALSE(tfd.null());
            EXPECT_EQ(tfd->FirstText, header.firstText);
            EXPECT_EQ(tfd->SecondText, header.secondText);
            EXPECT_EQ(tfd->NrOfTensorPairs, 2u);
            EXPECT_EQ(tfd.pair(0)->FirstView->baseOffset, bytes_of(header).size());
        }
    }
}

TEST(ReadTFD, ATextThatIsTooLongIsCutAndTheRestIsTheNextField) {
    const TemporaryFolder folder;
    for (const std::size_t length : {512, 600}) {
        Header header;
        header.firstText = std::string(511, 'a') + std::string(length - 511, 'b');
        header.secondText = "";
        std::string bytes = bytes_of(header) + tensor_bytes();
        bytes.erase(4 + length, 1); // one NUL only: the rest of the first text becomes the second
        const Tfd tfd(folder.write("a.tfd", bytes));
        ASSERT_FALSE(tfd.null());
        EXPECT_EQ(tfd->FirstText, std::string(511, 'a'));
        EXPECT_EQ(tfd->SecondText, std::string(length - 511, 'b'));
        EXPECT_EQ(tfd->NrOfTensorPairs, 2u);
    }
}

TEST(ReadTFD, WithoutPairsOrWithAnEmptyExtentThereIsNothingToView) {
    const TemporaryFolder folder;
    Header noPairs;
    noPairs.pairs = 0;
    noPairs.pairValues = {};
    Header noA;
    noA.extentA = 0;
    Header noB;
    noB.extentB = 0;
    noB.extentBValues = {};
    Header noC;
    noC.extentC = 0;
    for (const Header& header : {noPairs, noA, noB, noC}) {
        EXPECT_TRUE(refused(folder.write("a.tfd", bytes_of(header) + tensor_bytes())));
    }
}

TEST(ReadTFD, CountsThatTheFileCannotHoldAreRefusedBeforeTheirAllocation) {
    const TemporaryFolder folder;
    for (const std::uint32_t count : {0xFFFFFFFFu, 0x40000000u, 0x40000001u, 0x80000000u, 1000u}) {
        Header pairs;
        pairs.pairs = count;
        Header extentB;
        extentB.extentB = count;
        Header extras;
        extras.extras = count;
        for (const Header& header : {pairs, extentB, extras}) {
            SCOPED_TRACE(count);
            const std::string path = folder.write("a.tfd", bytes_of(header) + tensor_bytes());
            std::size_t largest = 0;
            {
                const AllocationProbe probe;
                EXPECT_TRUE(refused(path));
                largest = probe.largest();
            }
            EXPECT_EQ(largest, sizeof(TFDStruct));
        }
    }
}

TEST(ReadTFD, ACountIsRefusedWhereItsLastValueIsOneByteShort) {
    const TemporaryFolder folder;
    Header header;
    header.pairs = 1000;
    header.pairValues.assign(1000, 1);
    const std::string upToPairs = bytes_of(header).substr(0, 4 + 11 + 7 + 4 + 4000);
    for (const std::size_t missing : {0, 1}) {
        const std::string path = folder.write("a.tfd", upToPairs.substr(0, upToPairs.size() - missing));
        const AllocationProbe probe;
        EXPECT_TRUE(refused(path));
        EXPECT_EQ(probe.largest(), missing == 0 ? 4000u : sizeof(TFDStruct));
    }
}

TEST(ReadTFD, ExtentsWhoseProductWrapsAreRefused) {
    const TemporaryFolder folder;
    struct Case {
        std::uint32_t pairs, a, b, c;
    };
    const Case cases[] = {
        {1, 0x10000, 1, 0x10000},       // 2^32 elements: none in 32 bits
        {1, 0x80000000, 1, 1},          // 2^34 bytes: none in 32 bits
        {1, 0x20000000, 1, 1},          // 2^32 bytes
        {1, 0x80000000, 1, 0x40000000}, // 2^64 bytes: none in 64 bits
        {1, 0x80000000, 4, 0x80000000}, // 2^64 elements in one tensor
        {2, 0x80000000, 2, 0x80000000}, // 2^65 elements in all
        {1, 0x80000000, 1, 0x20000000}, // 2^63 bytes: one more than a file can have
        {2, 0xFFFFFFFF, 2, 0xFFFFFFFF}, // nearly 2^69 bytes
        {1, 2147549185, 2, 4294836226}, // 2^64 + 4 elements in one tensor: four in 64 bits
        {1, 2147549185, 1, 4294836226}, // 2^64 + 4 in all
        {1, 0xFFFFFFFF, 1, 1},          {2, 1, 1, 0xFFFFFFFF},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Header header;
        header.pairs = c.pairs;
        header.pairValues.assign(c.pairs, 1);
        header.extentA = c.a;
        header.extentB = c.b;
        header.extentBValues.assign(c.b, 1.0f);
        header.extentC = c.c;
        const std::string bytes = bytes_of(header) + tensor_bytes();
        const std::string path = folder.write("a.tfd", bytes);
        std::size_t largest = 0;
        {
            const AllocationProbe probe;
            EXPECT_TRUE(refused(path));
            largest = probe.largest();
        }
        EXPECT_EQ(largest, sizeof(TFDStruct));
        EXPECT_TRUE(support::read_file(path) == bytes);
    }
}

TEST(ReadTFD, WhatCannotBeOpenedIsRefused) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_TRUE(refused(folder.path("none.tfd")));
    EXPECT_FALSE(folder.has("none.tfd"));
    EXPECT_TRUE(refused(folder.path()));
    EXPECT_TRUE(refused(""));
    EXPECT_EQ(in_child([&] { return refused(pipe) ? 0 : 1; }), 0) << "a pipe without a writer is not waited for";
}

TEST(ReadTFD, AFileThatMayNotBeWrittenIsRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    EXPECT_EQ(in_child([&] {
                  if (geteuid() == 0 && setuid(65534) != 0) {
                      return 2;
                  }
                  if (support::read_file(path) != whole_file()) {
                      return 3;
                  }
                  return refused(path) ? 0 : 1;
              }),
              0);
}

TEST(ReadTFD, NamesOfMoreThan511CharactersAreRefused) {
    const TemporaryFolder folder;
    folder.write("a.tfd", whole_file());
    EXPECT_FALSE(refused(padded(folder, "a.tfd", 511)));
    EXPECT_TRUE(refused(padded(folder, "a.tfd", 512)));
    EXPECT_TRUE(refused(padded(folder, "a.tfd", 600)));
}

TEST(ReadTFD, EveryFailedAllocationIsARefusalThatReleasesTheRest) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    int failing = 0;
    for (;; ++failing) {
        bool isRefused = false;
        int calls = 0;
        {
            const AllocationProbe probe(failing);
            isRefused = refused(path);
            calls = probe.calls();
        }
        if (calls <= failing) {
            EXPECT_FALSE(isRefused);
            break;
        }
        EXPECT_TRUE(isRefused) << failing;
        EXPECT_EQ(calls, failing + 1) << "nothing is asked for after that";
    }
    EXPECT_EQ(failing, 6); // structure, pair values, extent values, extra values, views, table
}

TEST(TFDTensor, BothTensorsOfAPairAreLoaded) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    ASSERT_FALSE(tfd.null());
    for (const unsigned int i : {1u, 0u}) {
        ASSERT_EQ(TFDReadTensor(tfd.pair(i)), 1);
        expect_tensor(tfd.pair(i)->FirstData, 2 * i);
        expect_tensor(tfd.pair(i)->SecondData, 2 * i + 1);
    }
    tfd.pair(0)->FirstData[3] = -1.0f;
    ASSERT_EQ(TFDReadTensor(tfd.pair(0)), 1) << "what was loaded is released and read anew";
    expect_tensor(tfd.pair(0)->FirstData, 0);
}

TEST(TFDTensor, ReleasingIsHarmlessTwice) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    ASSERT_EQ(TFDReadTensor(tfd.pair(1)), 1);
    for (int i = 0; i < 2; ++i) {
        TFDFreeTensor(tfd.pair(1));
        EXPECT_EQ(tfd.pair(1)->FirstData, nullptr);
        EXPECT_EQ(tfd.pair(1)->SecondData, nullptr);
        EXPECT_NE(tfd.pair(1)->FirstView, nullptr);
    }
}

TEST(TFDTensor, AWriteChangesTheTensorsOfThePairAlone) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    {
        const Tfd tfd(path);
        TFDTensorStruct* pair = tfd.pair(1);
        ASSERT_EQ(TFDReadTensor(pair), 1);
        pair->FirstData[0] = 41.0f;
        pair->SecondData[tensorElements - 1] = 42.0f;
        EXPECT_EQ(TFDWriteTensor(pair), 1);
        EXPECT_EQ(pair->FirstData[0], 41.0f) << "the data stays loaded";
        EXPECT_EQ(pair->SecondData[tensorElements - 1], 42.0f);
        ASSERT_EQ(TFDReadTensor(pair), 1);
        EXPECT_EQ(pair->FirstData[0], 41.0f);
        EXPECT_EQ(pair->FirstData[1], element(2, 1));
        EXPECT_EQ(pair->SecondData[tensorElements - 1], 42.0f);
    }
    std::string expected = whole_file();
    expected.replace(bytes_of(Header()).size() + 2 * tensorBytes, 4, Bytes().f32(41.0f).str());
    expected.replace(expected.size() - 4, 4, Bytes().f32(42.0f).str());
    EXPECT_TRUE(support::read_file(path) == expected);
}

TEST(TFDTensor, AWriteNeedsBothTensorsLoaded) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    {
        const Tfd tfd(path);
        TFDTensorStruct* pair = tfd.pair(0);
        EXPECT_EQ(TFDWriteTensor(pair), 0);
        std::vector<float> values(tensorElements, 5.0f);
        pair->FirstData = values.data();
        EXPECT_EQ(TFDWriteTensor(pair), 0);
        pair->FirstData = nullptr;
        pair->SecondData = values.data();
        EXPECT_EQ(TFDWriteTensor(pair), 0);
        pair->SecondData = nullptr;
    }
    EXPECT_TRUE(support::read_file(path) == whole_file());
}

TEST(TFDTensor, AWriteThatFailsIsReported) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", bytes_of(line_header(10000)) + std::string(80000, '\0'));
    EXPECT_EQ(in_child([&] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  const Tfd tfd(path);
                  if (TFDReadTensor(tfd.pair(0)) != 1 || !support::limit(RLIMIT_FSIZE, 60000)) {
                      return 2;
                  }
                  return TFDWriteTensor(tfd.pair(0)) == 0 ? 0 : 1;
              }),
              0);
}

TEST(TFDTensor, AWriteNeedsBothViews) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", std::string(8, '\0'));
    const unsigned int dims[1] = {2};
    transio_struct readOnly;
    transio_struct readWrite;
    ASSERT_EQ(transio_open(&readOnly, path.c_str(), 0, 1, dims, 0x400), 1);
    ASSERT_EQ(transio_open(&readWrite, path.c_str(), 0, 1, dims, 0x411), 1);
    float data[2] = {1.0f, 2.0f};
    TFDTensorStruct both = {&readWrite, &readWrite, data, data};
    EXPECT_EQ(TFDWriteTensor(&both), 1);
    TFDTensorStruct firstFails = {&readOnly, &readWrite, data, data};
    EXPECT_EQ(TFDWriteTensor(&firstFails), 0);
    TFDTensorStruct secondFails = {&readWrite, &readOnly, data, data};
    EXPECT_EQ(TFDWriteTensor(&secondFails), 0);
    transio_close(&readOnly);
    transio_close(&readWrite);
}

TEST(TFDTensor, TheSecondTensorIsWrittenWhereTheFirstCouldNotBe) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", std::string(16, '\0'));
    const unsigned int dims[1] = {2};
    transio_struct readOnly;
    transio_struct readWrite;
    ASSERT_EQ(transio_open(&readOnly, path.c_str(), 0, 1, dims, 0x400), 1);
    ASSERT_EQ(transio_open(&readWrite, path.c_str(), 8, 1, dims, 0x411), 1);
    float first[2] = {1.0f, 2.0f};
    float second[2] = {3.0f, 4.0f};
    TFDTensorStruct pair = {&readOnly, &readWrite, first, second};
    EXPECT_EQ(TFDWriteTensor(&pair), 0);
    transio_close(&readOnly);
    transio_close(&readWrite);
    EXPECT_TRUE(support::read_file(path) == std::string(8, '\0') + Bytes().f32(3.0f).f32(4.0f).str());
}

// Views of a caller's own making, over 1, 2, 3, ... in one file.
struct UnequalViews {
    TemporaryFolder folder;
    std::string path;
    transio_struct first{};
    transio_struct second{};

    UnequalViews(unsigned int firstCount, unsigned int secondCount) {
        Bytes bytes;
        for (int i = 1; i <= 8; ++i) {
            bytes.f32(static_cast<float>(i));
        }
        path = folder.write("a.tfd", bytes.str());
        EXPECT_EQ(transio_open(&first, path.c_str(), 0, 1, &firstCount, 0x411), 1);
        EXPECT_EQ(transio_open(&second, path.c_str(), 16, 1, &secondCount, 0x411), 1);
    }
    ~UnequalViews() {
        transio_close(&first);
        transio_close(&second);
    }
};

TEST(TFDTensor, AsManyElementsAreLoadedAsTheFirstViewHas) {
    UnequalViews views(2, 4);
    TFDTensorStruct pair = {&views.first, &views.second, nullptr, nullptr};
    {
        const AllocationProbe probe;
        ASSERT_EQ(TFDReadTensor(&pair), 1) << "two of the second view's four";
        EXPECT_EQ(probe.calls(), 2);
        EXPECT_EQ(probe.largest(), 8u) << "two floats each";
    }
    EXPECT_EQ(pair.FirstData[1], 2.0f);
    EXPECT_EQ(pair.SecondData[0], 5.0f);
    EXPECT_EQ(pair.SecondData[1], 6.0f);
    TFDFreeTensor(&pair);

    TFDTensorStruct shorterSecond = {&views.second, &views.first, nullptr, nullptr};
    EXPECT_EQ(TFDReadTensor(&shorterSecond), 0) << "four are more than the second view has";
    EXPECT_EQ(shorterSecond.FirstData, nullptr);
    EXPECT_EQ(shorterSecond.SecondData, nullptr);
}

TEST(TFDTensor, AsManyElementsAreWrittenAsTheFirstViewHas) {
    UnequalViews views(2, 4);
    float a[4] = {-1.0f, -2.0f, -3.0f, -4.0f};
    float b[4] = {-5.0f, -6.0f, -7.0f, -8.0f};
    TFDTensorStruct pair = {&views.first, &views.second, a, b};
    EXPECT_EQ(TFDWriteTensor(&pair), 1);
    const auto element_at = [&](unsigned int i) {
        float value = 0.0f;
        transio_struct whole{};
        const unsigned int count = 8;
        views.first.stream->flush();
        views.second.stream->flush();
        EXPECT_EQ(transio_open(&whole, views.path.c_str(), 0, 1, &count, 0x400), 1);
        transio_read_buffer(&whole, i, 1, &value);
        transio_close(&whole);
        return value;
    };
    const float expected[8] = {-1.0f, -2.0f, 3.0f, 4.0f, -5.0f, -6.0f, 7.0f, 8.0f};
    for (unsigned int i = 0; i < 8; ++i) {
        EXPECT_EQ(element_at(i), expected[i]) << i;
    }
    TFDTensorStruct shorterSecond = {&views.second, &views.first, b, a};
    EXPECT_EQ(TFDWriteTensor(&shorterSecond), 0) << "four are more than the second view has";
    EXPECT_EQ(element_at(1), -2.0f);
    EXPECT_EQ(element_at(7), -8.0f) << "the first is written all the same";
}

TEST(TFDTensor, ATensorThatTheFileLostIsNotLoaded) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    const Tfd tfd(path);
    for (const unsigned int i : {0u, 1u}) {
        ASSERT_EQ(TFDReadTensor(tfd.pair(i)), 1);
    }
    std::filesystem::resize_file(path, whole_file().size() - 1); // the second tensor of the last pair
    EXPECT_EQ(TFDReadTensor(tfd.pair(1)), 0);
    EXPECT_EQ(tfd.pair(1)->FirstData, nullptr) << "what was loaded before is released all the same";
    EXPECT_EQ(tfd.pair(1)->SecondData, nullptr);
    std::filesystem::resize_file(path, whole_file().size() - tensorBytes - 1); // the first one
    EXPECT_EQ(TFDReadTensor(tfd.pair(1)), 0);
    EXPECT_EQ(tfd.pair(1)->FirstData, nullptr);
    EXPECT_EQ(TFDReadTensor(tfd.pair(0)), 1) << "the other pair is not spoilt";
    expect_tensor(tfd.pair(0)->SecondData, 1);
}

TEST(TFDTensor, AFailedAllocationLoadsNothing) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    TFDTensorStruct* pair = tfd.pair(0);
    for (const int failing : {0, 1}) {
        ASSERT_EQ(TFDReadTensor(pair), 1);
        const AllocationProbe probe(failing);
        EXPECT_EQ(TFDReadTensor(pair), 0);
        EXPECT_EQ(pair->FirstData, nullptr);
        EXPECT_EQ(pair->SecondData, nullptr);
    }
    const AllocationProbe probe;
    EXPECT_EQ(TFDReadTensor(pair), 1);
    EXPECT_EQ(probe.calls(), 2);
    EXPECT_EQ(probe.largest(), tensorBytes);
}

TEST(TFDTensor, ATensorOfTwoToThe32ElementsCanBeViewedButNotLoaded) {
    const TemporaryFolder folder;
    Header header = line_header(0x10000);
    header.extentA = 0x10000;
    const std::string path = folder.write("a.tfd", bytes_of(header));
    std::error_code error;
    std::filesystem::resize_file(path, bytes_of(header).size() + (8ull << 32), error);
    if (error) {
        GTEST_SKIP() << "no file of that size here";
    }
    const Tfd tfd(path);
    ASSERT_FALSE(tfd.null());
    EXPECT_EQ(tfd.pair(0)->FirstView->elementCount, 1ull << 32);
    EXPECT_EQ(tfd.pair(0)->SecondView->baseOffset, bytes_of(header).size() + (4ull << 32));
    {
        const AllocationProbe probe;
        EXPECT_EQ(TFDReadTensor(tfd.pair(0)), 0);
        EXPECT_EQ(probe.calls(), 0);
    }
    float value = 1.0f;
    tfd.pair(0)->FirstData = &value;
    tfd.pair(0)->SecondData = &value;
    EXPECT_EQ(TFDWriteTensor(tfd.pair(0)), 0);
    tfd.pair(0)->FirstData = nullptr;
    tfd.pair(0)->SecondData = nullptr;
    EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 0);
    EXPECT_FALSE(folder.has("b.tfd"));
}

TEST(CreateTFD, TheFileHoldsTheHeaderAndZeros) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", std::string(100000, 'x'));
    const Tfd tfd(create(path, Header()));
    ASSERT_FALSE(tfd.null());
    EXPECT_TRUE(support::read_file(path) == bytes_of(Header()) + std::string(4 * tensorBytes, '\0'));
    Header plain;
    plain.extras = 0;
    plain.extraValues = {1, 2, 3}; // not looked at
    const Tfd withoutExtras(create(folder.path("b.tfd"), plain));
    ASSERT_FALSE(withoutExtras.null());
    EXPECT_EQ(withoutExtras->ExtraValues, nullptr);
    plain.extraValues = {};
    EXPECT_TRUE(folder.read("b.tfd") == bytes_of(plain) + std::string(4 * tensorBytes, '\0'));
}

TEST(CreateTFD, ZerosAreWrittenInWholeBlocksAndTheRest) {
    const TemporaryFolder folder;
    for (const std::uint32_t total : {2u, 163838u, 163840u, 163842u, 327680u, 327682u, 500000u}) { // blocks of 163,840
        SCOPED_TRACE(total);
        const Header header = line_header(total / 2);
        const Tfd tfd(create(folder.path("a.tfd"), header));
        ASSERT_FALSE(tfd.null());
        EXPECT_TRUE(folder.read("a.tfd") == bytes_of(header) + std::string(std::size_t{total} * 4, '\0'));
    }
}

TEST(CreateTFD, TheStructureHoldsTheHeaderAndTheViews) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a.tfd");
    const Tfd tfd(create(path, Header()));
    ASSERT_FALSE(tfd.null());
    EXPECT_EQ(tfd->FileVersion, 1u);
    EXPECT_STREQ(tfd->FirstText, "first text");
    EXPECT_STREQ(tfd->SecondText, "second");
    EXPECT_EQ(tfd->NrOfTensorPairs, 2u);
    EXPECT_EQ(tfd->ExtentA, 3u);
    EXPECT_EQ(tfd->ExtentB, 2u);
    EXPECT_EQ(tfd->ExtentC, 4u);
    EXPECT_EQ(tfd->FirstParameter, 0.5f);
    EXPECT_EQ(tfd->SecondParameter, -3.0f);
    EXPECT_EQ(tfd->ThirdParameter, 1e30f);
    EXPECT_EQ(tfd->NrOfExtraValues, 3u);
    const transio_struct* first = tfd.pair(0)->FirstView;
    for (unsigned int k = 0; k < 4; ++k) {
        const TFDTensorStruct* pair = tfd.pair(k / 2);
        const transio_struct* view = k % 2 == 0 ? pair->FirstView : pair->SecondView;
        EXPECT_EQ(view, first + k);
        EXPECT_EQ(view->fileName, path);
        EXPECT_EQ(view->flags, 0x411u);
        EXPECT_EQ(view->stream, first->stream);
        EXPECT_EQ(view->baseOffset, bytes_of(Header()).size() + k * tensorBytes);
        EXPECT_EQ(view->nDims, 3u);
        EXPECT_EQ(view->dims[0], 4u);
        EXPECT_EQ(view->dims[1], 2u);
        EXPECT_EQ(view->dims[2], 3u);
        EXPECT_EQ(pair->FirstData, nullptr);
        EXPECT_EQ(pair->SecondData, nullptr);
    }
}

TEST(CreateTFD, TheArraysInMemoryAreNotFilledUntilTheFileIsRead) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a.tfd");
    {
        const Tfd tfd(create(path, Header()));
        ASSERT_FALSE(tfd.null());
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(tfd->PairValues[i], 0u);
            EXPECT_EQ(tfd->ExtentBValues[i], 0.0f);
        }
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(tfd->ExtraValues[i], 0u);
        }
    }
    const Tfd tfd(path);
    ASSERT_FALSE(tfd.null());
    EXPECT_EQ(tfd->PairValues[1], 0xDEADBEEFu);
    EXPECT_EQ(tfd->ExtentBValues[1], -2.25f);
    EXPECT_EQ(tfd->ExtraValues[1], 0xFFFFFFFFu);
}

TEST(CreateTFD, EveryTensorReadsBackAsZerosAndCanBeWritten) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a.tfd");
    {
        const Tfd tfd(create(path, Header()));
        ASSERT_FALSE(tfd.null());
        for (const unsigned int i : {0u, 1u}) {
            TFDTensorStruct* pair = tfd.pair(i);
            ASSERT_EQ(TFDReadTensor(pair), 1);
            for (unsigned int e = 0; e < tensorElements; ++e) {
                EXPECT_EQ(pair->FirstData[e], 0.0f);
                EXPECT_EQ(pair->SecondData[e], 0.0f);
                pair->FirstData[e] = element(2 * i, e);
                pair->SecondData[e] = element(2 * i + 1, e);
            }
            EXPECT_EQ(TFDWriteTensor(pair), 1);
        }
    }
    EXPECT_TRUE(support::read_file(path) == whole_file());
}

TEST(CreateTFD, TextsKeep511Characters) {
    const TemporaryFolder folder;
    for (const std::size_t length : {0, 1, 510, 511, 512, 600}) {
        SCOPED_TRACE(length);
        Header header;
        header.firstText = std::string(length, 'a');
        header.secondText = std::string(length, 'b');
        Header kept = header;
        kept.firstText.resize(std::min<std::size_t>(length, 511));
        kept.secondText.resize(std::min<std::size_t>(length, 511));
        const std::string path = folder.path("a.tfd");
        {
            const Tfd tfd(create(path, header));
            ASSERT_FALSE(tfd.null());
            EXPECT_EQ(tfd->FirstText, kept.firstText);
            EXPECT_EQ(tfd->SecondText, kept.secondText);
        }
        EXPECT_TRUE(support::read_file(path) == bytes_of(kept) + std::string(4 * tensorBytes, '\0'));
        const Tfd tfd(path);
        ASSERT_FALSE(tfd.null());
        EXPECT_EQ(tfd->FirstText, kept.firstText);
        EXPECT_EQ(tfd->SecondText, kept.secondText);
        EXPECT_EQ(tfd->ExtentC, 4u);
    }
}

TEST(CreateTFD, WhatGivesNoFileIsRefusedBeforeAnExistingOneIsTouched) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", "as it was");
    Header noPairs;
    noPairs.pairs = 0;
    Header noA;
    noA.extentA = 0;
    Header noB;
    noB.extentB = 0;
    Header noC;
    noC.extentC = 0;
    for (const Header& header : {noPairs, noA, noB, noC}) {
        EXPECT_TRUE(Tfd(create(path, header)).null());
        EXPECT_EQ(support::read_file(path), "as it was");
    }
    EXPECT_TRUE(Tfd(create(padded(folder, "a.tfd", 512), Header())).null());
    EXPECT_TRUE(Tfd(create(padded(folder, "a.tfd", 600), Header())).null());
    EXPECT_EQ(support::read_file(path), "as it was");
    EXPECT_FALSE(Tfd(create(padded(folder, "a.tfd", 511), Header())).null());
}

TEST(CreateTFD, TotalsOfTwoToThe32ElementsAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", "as it was");
    struct Case {
        std::uint32_t pairs, a, b, c;
    };
    const Case cases[] = {
        {1, 1, 1, 0x80000000},                   // 2^32: none in 32 bits
        {1, 3, 1, 0x2AAAAAAB},                   // 2^32 + 2: two
        {0x80000000, 1, 1, 1},                   // 2^32 with the pairs
        {0x80000001, 1, 1, 1},                   // 2^32 + 2
        {1, 0x80000000, 1, 0x80000000},          // 2^63
        {1, 0x80000000, 2, 0x80000000},          // 2^64: none in 64 bits
        {1, 0x80000000, 4, 0x80000000},          // 2^64 in one tensor
        {1, 2147549185, 2, 4294836226},          // 2^64 + 4 in one tensor: four in 64 bits
        {1, 2147549185, 1, 4294836226},          // 2^64 + 4 in all
        {0xFFFFFFFF, 0xFFFFFFFF, 1, 0xFFFFFFFF}, // nearly 2^97
    };
    const std::uint32_t pairValue = 0;
    const float extentBValues[4] = {};
    for (const Case& c : cases) {
        const AllocationProbe probe;
        EXPECT_EQ(
            CreateTFD(path.c_str(), "", "", c.pairs, &pairValue, c.a, c.b, extentBValues, c.c, 0, 1, 1, 0, nullptr),
            nullptr)
            << &c - cases;
        EXPECT_EQ(probe.largest(), sizeof(TFDStruct));
        EXPECT_EQ(support::read_file(path), "as it was");
    }
}

TEST(CreateTFD, AFileThatCannotBeCompletedIsRemoved) {
    const TemporaryFolder folder;
    const std::string path = folder.path("a.tfd");
    const std::string behindLink = folder.write("behind.tfd", "as it was");
    std::filesystem::create_symlink(behindLink, folder.path("link.tfd"));
    const auto with_limit = [](const std::string& name, std::uint32_t extentC, rlim_t bytes) {
        return in_child([&] {
            std::signal(SIGXFSZ, SIG_IGN);
            return support::limit(RLIMIT_FSIZE, bytes) && create(name, line_header(extentC)) == nullptr ? 0 : 1;
        });
    };
    EXPECT_EQ(with_limit(path, 500000, 2000000), 0); // in a block
    EXPECT_FALSE(folder.has("a.tfd"));
    EXPECT_EQ(with_limit(path, 100, 200), 0); // in the rest
    EXPECT_FALSE(folder.has("a.tfd"));
    EXPECT_EQ(with_limit(path, 100, 10), 0); // in the header
    EXPECT_FALSE(folder.has("a.tfd"));
    EXPECT_EQ(with_limit(folder.path("link.tfd"), 100, 200), 0);
    EXPECT_FALSE(folder.has("behind.tfd"));
    folder.write("a.tfd", "as it was"); // 2^32 - 2 elements are not too many: only the size limit stops them
    EXPECT_EQ(with_limit(path, 0x7FFFFFFF, 2000000), 0);
    EXPECT_FALSE(folder.has("a.tfd"));
}

TEST(CreateTFD, WhatCannotBeCreatedIsRefused) {
    const TemporaryFolder folder;
    EXPECT_TRUE(Tfd(create(folder.path("none/a.tfd"), Header())).null());
    EXPECT_TRUE(Tfd(create(folder.path(), Header())).null());
    EXPECT_TRUE(Tfd(create("", Header())).null());
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(in_child([&] { return create(pipe, Header()) == nullptr ? 0 : 1; }), 0)
        << "a pipe without a reader is not waited for";
    EXPECT_TRUE(folder.has("pipe"));
    const std::string device = folder.path("null");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) {
        EXPECT_TRUE(Tfd(create(device, Header())).null());
        EXPECT_TRUE(folder.has("null")) << "a device is never removed";
    }
}

TEST(CreateTFD, EveryFailedAllocationLeavesAnExistingFileAsItWas) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", "as it was");
    int failing = 0;
    for (;; ++failing) {
        bool isNull = false;
        int calls = 0;
        {
            const AllocationProbe probe(failing);
            isNull = Tfd(create(path, Header())).null();
            calls = probe.calls();
        }
        if (calls <= failing) {
            EXPECT_FALSE(isNull);
            break;
        }
        EXPECT_TRUE(isNull) << failing;
        EXPECT_EQ(support::read_file(path), "as it was") << failing;
    }
    EXPECT_EQ(failing, 7); // structure, pair, extent and extra values, views, table, block of zeros
}

TEST(WriteTFD, TheNewFileHoldsTheSameHeaderAndTensors) {
    const TemporaryFolder folder;
    Header plain;
    plain.extras = 0;
    plain.extraValues = {};
    Header longTexts;
    longTexts.firstText = std::string(511, 'a');
    longTexts.secondText = std::string(510, 'b');
    for (const Header& header : {Header(), plain, longTexts}) {
        const std::string bytes = bytes_of(header) + tensor_bytes();
        const std::string source = folder.write("a.tfd", bytes + "not part of it");
        const std::string target = folder.write("b.tfd", std::string(10000, 'x'));
        {
            const Tfd tfd(source);
            ASSERT_FALSE(tfd.null());
            EXPECT_EQ(WriteTFD(tfd.get(), target.c_str()), 1);
        }
        EXPECT_TRUE(support::read_file(target) == bytes);
        EXPECT_TRUE(support::read_file(source) == bytes + "not part of it");
        const Tfd again(target);
        ASSERT_FALSE(again.null());
        EXPECT_EQ(again->PairValues[1], 0xDEADBEEFu);
        ASSERT_EQ(TFDReadTensor(again.pair(1)), 1);
        expect_tensor(again.pair(1)->SecondData, 3);
    }
}

TEST(WriteTFD, TheStructureIsBoundToTheNewFile) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    const std::string target = folder.path("b.tfd");
    const std::ptrdiff_t before = open_files();
    {
        const Tfd tfd(source);
        const TFDStruct* structure = tfd.get();
        ASSERT_EQ(WriteTFD(tfd.get(), target.c_str()), 1);
        EXPECT_EQ(tfd.get(), structure);
        EXPECT_EQ(open_files(), before + 1) << "the old file is closed";
        EXPECT_EQ(tfd.pair(0)->FirstView->fileName, target);
        EXPECT_EQ(tfd.pair(1)->SecondView->fileName, target);
        ASSERT_EQ(TFDReadTensor(tfd.pair(0)), 1);
        tfd.pair(0)->FirstData[0] = -7.0f;
        EXPECT_EQ(TFDWriteTensor(tfd.pair(0)), 1);
        ASSERT_EQ(WriteTFD(tfd.get(), folder.path("c.tfd").c_str()), 1) << "and can be saved again";
    }
    EXPECT_EQ(open_files(), before);
    std::string changed = whole_file();
    changed.replace(bytes_of(Header()).size(), 4, Bytes().f32(-7.0f).str());
    EXPECT_TRUE(support::read_file(source) == whole_file());
    EXPECT_TRUE(support::read_file(target) == changed);
    EXPECT_TRUE(folder.read("c.tfd") == changed);
}

TEST(WriteTFD, TheHeaderIsWrittenAsItStandsInTheStructure) {
    const TemporaryFolder folder;
    {
        const Tfd tfd(folder.write("a.tfd", whole_file()));
        std::memset(tfd->FirstText, 'z', sizeof tfd->FirstText); // no NUL at all
        std::strcpy(tfd->SecondText, "changed");
        tfd->PairValues[0] = 99;
        tfd->ExtentBValues[1] = 6.5f;
        tfd->FirstParameter = 1.25f;
        tfd->SecondParameter = 2.25f;
        tfd->ThirdParameter = 3.25f;
        tfd->ExtraValues[2] = 77;
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1);
        EXPECT_EQ(tfd->FirstText, std::string(511, 'z'));
        EXPECT_EQ(tfd->PairValues[0], 99u);
    }
    Header header;
    header.firstText = std::string(511, 'z');
    header.secondText = "changed";
    header.pairValues[0] = 99;
    header.extentBValues[1] = 6.5f;
    header.first = 1.25f;
    header.second = 2.25f;
    header.third = 3.25f;
    header.extraValues[2] = 77;
    EXPECT_TRUE(folder.read("b.tfd") == bytes_of(header) + tensor_bytes());
}

TEST(WriteTFD, ANewStructureIsWrittenWithItsUnfilledArrays) {
    const TemporaryFolder folder;
    const Tfd tfd(create(folder.path("a.tfd"), Header()));
    ASSERT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1);
    Header unfilled;
    unfilled.pairValues = {0, 0};
    unfilled.extentBValues = {0.0f, 0.0f};
    unfilled.extraValues = {0, 0, 0};
    EXPECT_TRUE(folder.read("b.tfd") == bytes_of(unfilled) + std::string(4 * tensorBytes, '\0'));
}

TEST(WriteTFD, LoadedDataIsReleasedAndTheFilesTensorsAreCopied) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    ASSERT_EQ(TFDReadTensor(tfd.pair(0)), 1);
    ASSERT_EQ(TFDReadTensor(tfd.pair(1)), 1);
    tfd.pair(0)->FirstData[0] = -1.0f; // never written
    EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1);
    for (const unsigned int i : {0u, 1u}) {
        EXPECT_EQ(tfd.pair(i)->FirstData, nullptr);
        EXPECT_EQ(tfd.pair(i)->SecondData, nullptr);
    }
    EXPECT_TRUE(folder.read("b.tfd") == whole_file());
}

TEST(WriteTFD, WhatWasWrittenToATensorIsSavedWithIt) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    ASSERT_EQ(TFDReadTensor(tfd.pair(1)), 1);
    tfd.pair(1)->FirstData[0] = -1.0f;
    ASSERT_EQ(TFDWriteTensor(tfd.pair(1)), 1);
    ASSERT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1);
    std::string changed = whole_file();
    changed.replace(bytes_of(Header()).size() + 2 * tensorBytes, 4, Bytes().f32(-1.0f).str());
    EXPECT_TRUE(folder.read("b.tfd") == changed);
    EXPECT_TRUE(folder.read("a.tfd") == changed);
}

TEST(WriteTFD, SavingOverTheFileThatHoldsTheTensorsIsRefused) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    const std::string source = folder.write("a.tfd", whole_file());
    std::filesystem::create_symlink(source, folder.path("link.tfd"));
    std::filesystem::create_hard_link(source, folder.path("hard.tfd"));
    {
        const Tfd tfd(source);
        ASSERT_EQ(TFDReadTensor(tfd.pair(0)), 1);
        for (const std::string& name : {source, folder.path("./a.tfd"), folder.path("link.tfd"),
                                        folder.path("hard.tfd"), std::string("a.tfd"), std::string("./link.tfd")}) {
            EXPECT_EQ(WriteTFD(tfd.get(), name.c_str()), 0) << name;
            EXPECT_TRUE(support::read_file(source) == whole_file()) << name;
        }
        expect_tensor(tfd.pair(0)->FirstData, 0); // a refusal does not touch what is loaded
        EXPECT_EQ(WriteTFD(tfd.get(), "b.tfd"), 1) << "the views still work";
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 0) << "now b holds the tensors";
        EXPECT_EQ(WriteTFD(tfd.get(), source.c_str()), 1) << "and a no longer does";
    }
    EXPECT_TRUE(support::read_file(source) == whole_file());
    EXPECT_TRUE(folder.read("b.tfd") == whole_file());
}

// Which file holds the tensors is a matter of the open views, not of what their name leads to by now.

TEST(WriteTFD, TensorsAreSafeWhereTheirRelativeNameLeadsToAnotherFile) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    std::filesystem::create_directory("below");
    folder.write("a.tfd", whole_file());
    folder.write("below/a.tfd", "as it was");
    {
        const Tfd tfd(std::string("a.tfd"));
        ASSERT_FALSE(tfd.null());
        std::filesystem::current_path("below");
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("a.tfd").c_str()), 0);
        EXPECT_EQ(WriteTFD(tfd.get(), "../a.tfd"), 0);
        EXPECT_TRUE(folder.read("a.tfd") == whole_file()) << "the file that holds the tensors was written over";
        EXPECT_EQ(WriteTFD(tfd.get(), "a.tfd"), 1) << "of the same name, but not the file";
        std::filesystem::current_path(folder.path());
    }
    EXPECT_TRUE(folder.read("below/a.tfd") == whole_file());
    EXPECT_TRUE(folder.read("a.tfd") == whole_file());
}

TEST(WriteTFD, TensorsAreSafeWhereAnotherFileHasTakenTheirName) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    const std::string moved = folder.path("moved.tfd");
    {
        const Tfd tfd(source);
        std::filesystem::rename(source, moved);
        folder.write("a.tfd", "another file");
        EXPECT_EQ(WriteTFD(tfd.get(), moved.c_str()), 0);
        EXPECT_TRUE(support::read_file(moved) == whole_file()) << "the file that holds the tensors was written over";
        EXPECT_EQ(WriteTFD(tfd.get(), source.c_str()), 1) << "the other file does not hold them";
    }
    EXPECT_TRUE(support::read_file(source) == whole_file());
    EXPECT_TRUE(support::read_file(moved) == whole_file());
}

TEST(WriteTFD, WithoutTheNameOfItsFileAStructureIsSavedOverAnyOther) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    folder.write("b.tfd", std::string(3000, 'x'));
    {
        const Tfd tfd(source);
        std::filesystem::rename(source, folder.path("moved.tfd"));
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("moved.tfd").c_str()), 0);
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1);
    }
    EXPECT_TRUE(folder.read("b.tfd") == whole_file());
    EXPECT_TRUE(folder.read("moved.tfd") == whole_file());
}

TEST(WriteTFD, ATensorThatCannotBeReadEndsTheSaveWithoutAFile) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    const std::string behindLink = folder.write("behind.tfd", "as it was");
    std::filesystem::create_symlink(behindLink, folder.path("link.tfd"));
    {
        const Tfd tfd(source);
        std::filesystem::resize_file(source, whole_file().size() - 1);
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 0);
        EXPECT_FALSE(folder.has("b.tfd"));
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("link.tfd").c_str()), 0);
        EXPECT_FALSE(folder.has("behind.tfd"));
        EXPECT_EQ(tfd.pair(0)->FirstView->fileName, source);
        EXPECT_EQ(tfd.pair(1)->FirstData, nullptr);

        support::write_file(source, whole_file());
        EXPECT_EQ(WriteTFD(tfd.get(), folder.path("b.tfd").c_str()), 1) << "the old views still work";
    }
    EXPECT_TRUE(folder.read("b.tfd") == whole_file());
}

TEST(WriteTFD, WhatCannotBeSavedIsRefusedBeforeAnExistingFileIsTouched) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    const std::string target = folder.write("b.tfd", "as it was");
    const Tfd tfd(source);
    ASSERT_FALSE(tfd.null());
    const TFDStruct whole = *tfd.get();
    const auto is_refused = [&](auto change) {
        change(*tfd.get());
        const int result = WriteTFD(tfd.get(), target.c_str());
        *tfd.get() = whole;
        return result == 0 && support::read_file(target) == "as it was";
    };
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.FileVersion = 2; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.FileVersion = 0; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.PairValues = nullptr; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.ExtentBValues = nullptr; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.ExtraValues = nullptr; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.Tensors = nullptr; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.NrOfTensorPairs = 0; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.ExtentA = 2; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.ExtentB = 1; }));
    EXPECT_TRUE(is_refused([](TFDStruct& t) { t.ExtentC = 0; }));
    EXPECT_EQ(WriteTFD(tfd.get(), padded(folder, "b.tfd", 512).c_str()), 0);
    EXPECT_EQ(support::read_file(target), "as it was");
    EXPECT_EQ(WriteTFD(tfd.get(), padded(folder, "b.tfd", 511).c_str()), 1);
}

TEST(WriteTFD, WhatCannotBeCreatedIsRefused) {
    const TemporaryFolder folder;
    const Tfd tfd(folder.write("a.tfd", whole_file()));
    EXPECT_EQ(WriteTFD(tfd.get(), folder.path("none/a.tfd").c_str()), 0);
    EXPECT_EQ(WriteTFD(tfd.get(), folder.path().c_str()), 0);
    EXPECT_EQ(WriteTFD(tfd.get(), ""), 0);
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(in_child([&] { return WriteTFD(tfd.get(), pipe.c_str()); }), 0)
        << "a pipe without a reader is not waited for";
    const std::string device = folder.path("null");
    if (mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0) {
        EXPECT_EQ(WriteTFD(tfd.get(), device.c_str()), 0); // takes every byte and cannot be read back
        EXPECT_TRUE(folder.has("null"));
    }
    EXPECT_EQ(tfd.pair(0)->FirstView->fileName, folder.path("a.tfd"));
    EXPECT_EQ(TFDReadTensor(tfd.pair(1)), 1);
}

TEST(WriteTFD, ADiskThatFillsUpLeavesNoFile) {
    const TemporaryFolder folder;
    struct Case {
        std::uint32_t extentC;
        rlim_t limit;
    };
    // The files have 80,000 and 80 bytes of tensors; the smaller one is written in one piece at the end.
    for (const Case c : {Case{10000, 10}, Case{10000, 300}, Case{10000, 60000}, Case{10000, 80000}, Case{10, 100}}) {
        SCOPED_TRACE(c.limit);
        const std::string source =
            folder.write("a.tfd", bytes_of(line_header(c.extentC)) + std::string(8 * c.extentC, '\0'));
        EXPECT_EQ(in_child([&] {
                      std::signal(SIGXFSZ, SIG_IGN);
                      const Tfd tfd(source);
                      if (!support::limit(RLIMIT_FSIZE, c.limit) ||
                          WriteTFD(tfd.get(), folder.path("b.tfd").c_str()) != 0) {
                          return 1;
                      }
                      return tfd.pair(0)->FirstView->fileName == source && TFDReadTensor(tfd.pair(0)) == 1 ? 0 : 2;
                  }),
                  0);
        EXPECT_FALSE(folder.has("b.tfd"));
    }
}

TEST(WriteTFD, AFailedAllocationLeavesTheStructureBoundToItsOldFile) {
    const TemporaryFolder folder;
    const std::string source = folder.write("a.tfd", whole_file());
    constexpr int whileCopying = 4; // two tensors of each pair
    int failing = 0;
    for (;; ++failing) {
        SCOPED_TRACE(failing);
        const Tfd tfd(source);
        std::filesystem::remove(folder.path("b.tfd"));
        int result = 0;
        int calls = 0;
        {
            const AllocationProbe probe(failing);
            result = WriteTFD(tfd.get(), folder.path("b.tfd").c_str());
            calls = probe.calls();
        }
        if (calls <= failing) {
            EXPECT_EQ(result, 1);
            break;
        }
        EXPECT_EQ(result, 0);
        EXPECT_EQ(tfd.pair(0)->FirstView->fileName, source);
        EXPECT_EQ(TFDReadTensor(tfd.pair(1)), 1);
        EXPECT_TRUE(folder.read("b.tfd") == (failing < whileCopying ? "" : whole_file()));
        EXPECT_EQ(folder.has("b.tfd"), failing >= whileCopying) << "a complete file stays";
    }
    EXPECT_EQ(failing, whileCopying + 6); // and those of the reader
}

TEST(FreeTFD, KeepingTheStructureReleasesWhatItHolds) {
    const TemporaryFolder folder;
    const std::ptrdiff_t before = open_files();
    TFDStruct* tfd = ReadTFD(folder.write("a.tfd", whole_file()).c_str());
    ASSERT_NE(tfd, nullptr);
    TFDStruct* const same = tfd;
    for (int i = 0; i < 2; ++i) { // the second time there is nothing left
        FreeTFD(&tfd, 1);
        EXPECT_EQ(tfd, same);
        EXPECT_EQ(tfd->PairValues, nullptr);
        EXPECT_EQ(tfd->ExtentBValues, nullptr);
        EXPECT_EQ(tfd->ExtraValues, nullptr);
        EXPECT_EQ(tfd->Tensors, nullptr);
        EXPECT_EQ(tfd->ExtentC, 4u);
        EXPECT_EQ(open_files(), before) << "the file is closed";
    }
    FreeTFD(&tfd, 0);
}

TEST(FreeTFD, OnlyOneKeepsTheStructure) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.tfd", whole_file());
    const std::ptrdiff_t before = open_files();
    for (const unsigned int keep : {0u, 2u, 0xFFFFFFFFu}) { // a structure that stayed would be a leak
        TFDStruct* tfd = ReadTFD(path.c_str());
        TFDStruct* const same = tfd;
        FreeTFD(&tfd, keep);
        EXPECT_EQ(tfd, same) << "the caller's pointer is not reset";
        EXPECT_EQ(open_files(), before);
    }
}

TEST(FreeTFD, LoadedDataIsTheCallersToRelease) {
    const TemporaryFolder folder;
    TFDStruct* tfd = ReadTFD(folder.write("a.tfd", whole_file()).c_str());
    ASSERT_EQ(TFDReadTensor(&tfd->Tensors[1]), 1);
    TFDTensorStruct loaded = tfd->Tensors[1];
    FreeTFD(&tfd, 0);
    expect_tensor(loaded.FirstData, 2);
    expect_tensor(loaded.SecondData, 3);
    TFDFreeTensor(&loaded);
}

TEST(FreeTFD, NothingIsHarmless) {
    TFDStruct* none = nullptr;
    FreeTFD(&none, 0);
    FreeTFD(&none, 1);
    EXPECT_EQ(none, nullptr);
}

TEST(FreeTFD, AStructureWithoutViewsIsFreed) {
    auto* tfd = static_cast<TFDStruct*>(std::calloc(1, sizeof(TFDStruct)));
    tfd->Tensors = static_cast<TFDTensorStruct*>(std::calloc(1, sizeof(TFDTensorStruct)));
    FreeTFD(&tfd, 1);
    EXPECT_EQ(tfd->Tensors, nullptr);
    FreeTFD(&tfd, 0);
}
