// Where the fields of the exported structures lie: programs and other modules were compiled against these places.

#include <gtest/gtest.h>

#include <cstddef>

#include "fileio/ctc.h"
#include "fileio/cvx.h"
#include "fileio/tfd.h"
#include "fileio/transio.h"

namespace {

// 4-byte fields follow one another, 8-byte ones begin at a multiple of 8, a text is 512 bytes.

TEST(Layout, TransioStruct) {
    EXPECT_EQ(offsetof(transio_struct, fileName), 0u);
    EXPECT_EQ(offsetof(transio_struct, flags), 512u);
    EXPECT_EQ(offsetof(transio_struct, stream), 520u);
    EXPECT_EQ(offsetof(transio_struct, baseOffset), 528u);
    EXPECT_EQ(offsetof(transio_struct, elementSize), 536u);
    EXPECT_EQ(offsetof(transio_struct, nDims), 540u);
    EXPECT_EQ(offsetof(transio_struct, dims), 544u);
    EXPECT_EQ(offsetof(transio_struct, elementCount), 576u);
    EXPECT_EQ(sizeof(transio_struct), 584u);
}

TEST(Layout, CTCStruct) {
    EXPECT_EQ(offsetof(CTCStruct, fileName), 0u);
    EXPECT_EQ(offsetof(CTCStruct, FileVersion), 512u);
    EXPECT_EQ(offsetof(CTCStruct, CompressionType), 516u);
    EXPECT_EQ(offsetof(CTCStruct, NrOfCompressionParams), 520u);
    EXPECT_EQ(offsetof(CTCStruct, CompressionParams), 528u);
    EXPECT_EQ(offsetof(CTCStruct, DataType), 536u);
    EXPECT_EQ(offsetof(CTCStruct, SampleOrdering), 540u);
    EXPECT_EQ(offsetof(CTCStruct, NrOfChannels), 544u);
    EXPECT_EQ(offsetof(CTCStruct, NrOfSamples), 548u);
    EXPECT_EQ(offsetof(CTCStruct, SamplingFrequency), 552u);
    EXPECT_EQ(offsetof(CTCStruct, ChannelOffsets), 560u);
    EXPECT_EQ(offsetof(CTCStruct, ChannelScales), 568u);
    EXPECT_EQ(offsetof(CTCStruct, NrOfConditions), 576u);
    EXPECT_EQ(offsetof(CTCStruct, NrOfTrials), 584u);
    EXPECT_EQ(offsetof(CTCStruct, PreTriggerSamples), 592u);
    EXPECT_EQ(offsetof(CTCStruct, PostTriggerSamples), 600u);
    EXPECT_EQ(offsetof(CTCStruct, ConditionStarts), 608u);
    EXPECT_EQ(offsetof(CTCStruct, Spare), 616u);
    EXPECT_EQ(offsetof(CTCStruct, FloatSamples), 624u);
    EXPECT_EQ(offsetof(CTCStruct, Int16Samples), 632u);
    EXPECT_EQ(offsetof(CTCStruct, Int8Samples), 640u);
    EXPECT_EQ(offsetof(CTCStruct, FileView), 648u);
    EXPECT_EQ(sizeof(CTCStruct), 656u);
}

TEST(Layout, TFDStruct) {
    EXPECT_EQ(offsetof(TFDStruct, FileVersion), 0u);
    EXPECT_EQ(offsetof(TFDStruct, FirstText), 4u);
    EXPECT_EQ(offsetof(TFDStruct, SecondText), 516u);
    EXPECT_EQ(offsetof(TFDStruct, NrOfTensorPairs), 1028u);
    EXPECT_EQ(offsetof(TFDStruct, PairValues), 1032u);
    EXPECT_EQ(offsetof(TFDStruct, ExtentA), 1040u);
    EXPECT_EQ(offsetof(TFDStruct, ExtentB), 1044u);
    EXPECT_EQ(offsetof(TFDStruct, ExtentBValues), 1048u);
    EXPECT_EQ(offsetof(TFDStruct, ExtentC), 1056u);
    EXPECT_EQ(offsetof(TFDStruct, FirstParameter), 1060u);
    EXPECT_EQ(offsetof(TFDStruct, SecondParameter), 1064u);
    EXPECT_EQ(offsetof(TFDStruct, ThirdParameter), 1068u);
    EXPECT_EQ(offsetof(TFDStruct, NrOfExtraValues), 1072u);
    EXPECT_EQ(offsetof(TFDStruct, ExtraValues), 1080u);
    EXPECT_EQ(offsetof(TFDStruct, Tensors), 1088u);
    EXPECT_EQ(sizeof(TFDStruct), 1096u);
}

TEST(Layout, TFDTensorStruct) {
    EXPECT_EQ(offsetof(TFDTensorStruct, FirstView), 0u);
    EXPECT_EQ(offsetof(TFDTensorStruct, SecondView), 8u);
    EXPECT_EQ(offsetof(TFDTensorStruct, FirstData), 16u);
    EXPECT_EQ(offsetof(TFDTensorStruct, SecondData), 24u);
    EXPECT_EQ(sizeof(TFDTensorStruct), 32u);
}

TEST(Layout, CVXStruct) {
    EXPECT_EQ(offsetof(CVXStruct, FileVersion), 0u);
    EXPECT_EQ(offsetof(CVXStruct, FirstText), 4u);
    EXPECT_EQ(offsetof(CVXStruct, SecondText), 516u);
    EXPECT_EQ(offsetof(CVXStruct, MatrixOrder), 1028u);
    EXPECT_EQ(offsetof(CVXStruct, OrderValues), 1032u);
    EXPECT_EQ(offsetof(CVXStruct, FourthCount), 1040u);
    EXPECT_EQ(offsetof(CVXStruct, NrOfPairValues), 1044u);
    EXPECT_EQ(offsetof(CVXStruct, PairValues), 1048u);
    EXPECT_EQ(offsetof(CVXStruct, FirstSetting), 1056u);
    EXPECT_EQ(offsetof(CVXStruct, SecondSetting), 1060u);
    EXPECT_EQ(offsetof(CVXStruct, ThirdSetting), 1064u);
    EXPECT_EQ(offsetof(CVXStruct, FourthSetting), 1068u);
    EXPECT_EQ(offsetof(CVXStruct, NrOfExtraValues), 1072u);
    EXPECT_EQ(offsetof(CVXStruct, ExtraValues), 1080u);
    EXPECT_EQ(offsetof(CVXStruct, SingleMatrix), 1088u);
    EXPECT_EQ(offsetof(CVXStruct, FirstMatrix), 1096u);
    EXPECT_EQ(offsetof(CVXStruct, SecondMatrix), 1104u);
    EXPECT_EQ(sizeof(CVXStruct), 1112u);
}

} // namespace
