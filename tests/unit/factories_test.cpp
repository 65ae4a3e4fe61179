// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/cores.h>
#include <gnr_deconvolution/parameters.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <typeindex>
#include <typeinfo>
#include <vector>

namespace {

/// The parameter class of each listed value; every other value has none.
const std::map<std::int32_t, std::type_index>& ParameterClasses() {
    static const std::map<std::int32_t, std::type_index> classes = {
        {1, typeid(CRy3DBlindDeconvRunParameters)}, {2, typeid(CRy3DDeconvRunParameters)},
        {3, typeid(CRy3DAutoDeconvRunParameters)},  {5, typeid(CRy3DDeconvRunParameters)},
        {11, typeid(CRy3DAutoDeconvRunParameters)}, {21, typeid(CRy3DDeconvRunParameters)},
        {22, typeid(CRy3DAutoDeconvRunParameters)}, {23, typeid(CRy3DAutoDeconvRunParameters)}};
    return classes;
}

std::vector<std::int32_t> ListedAndOddValues() {
    std::vector<std::int32_t> values;
    for (std::int32_t value = -2; value <= 40; ++value) values.push_back(value);
    for (const std::int32_t odd : {std::numeric_limits<std::int32_t>::min(), -1000, 257, 0x10001, 0x01000002,
                                   std::numeric_limits<std::int32_t>::max()}) {
        values.push_back(odd);
    }
    return values;
}

TEST(Factories, MakeTheParameterClassOfEveryValue) {
    for (const std::int32_t value : ListedAndOddValues()) {
        const auto eType = static_cast<ERyLow3DDeconvolutionType>(value);
        const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eType);
        const auto expected = ParameterClasses().find(value);
        if (expected == ParameterClasses().end()) {
            EXPECT_FALSE(params) << value;
            continue;
        }
        ASSERT_TRUE(params) << value;
        const CRy3DDeconvRunParameters& made = *params;
        EXPECT_EQ(std::type_index(typeid(made)), expected->second) << value;
        EXPECT_EQ(params->eType, eType) << value;
        EXPECT_EQ(params->iRefCount, 1) << value;
    }
}

TEST(Factories, NamedValuesAreTheListedNumbers) {
    EXPECT_EQ(eDeconvBlind, 1);
    EXPECT_EQ(eDeconvWiener, 2);
    EXPECT_EQ(eDeconvAcceleratedLucyRichardsonTM, 3);
    EXPECT_EQ(eDeconvLandweber, 5);
    EXPECT_EQ(eDeconvLandweberAutomatic, 11);
    EXPECT_EQ(eDeconvDirectRun, 21);
    EXPECT_EQ(eDeconvDirectAuto, 22);
    EXPECT_EQ(eDeconvDirectAuto2, 23);
    static_assert(sizeof(ERyLow3DDeconvolutionType) == 4);
}

TEST(Factories, MakeTheWienerCore) {
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvWiener);
    ASSERT_TRUE(core);
    const CRyAbstract3DDeconvolutionCore& made = *core;
    EXPECT_EQ(std::type_index(typeid(made)), std::type_index(typeid(CRy3DWienerDeconvolutionCore)));
    EXPECT_EQ(core->iRefCount, 1);
}

TEST(Factories, MakeTheBlindCore) {
    const auto core = CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eDeconvBlind);
    ASSERT_TRUE(core);
    const CRyAbstract3DDeconvolutionCore& made = *core;
    EXPECT_EQ(std::type_index(typeid(made)), std::type_index(typeid(CRy3DBlindDeconvolutionCore)));
    EXPECT_EQ(core->iRefCount, 1);
}

TEST(Factories, MakeNoCoreForValuesWithoutOne) {
    for (const std::int32_t value : ListedAndOddValues()) {
        if (value == 1 || value == 2 || value == 3 || value == 5 || value == 11) continue;
        const auto eType = static_cast<ERyLow3DDeconvolutionType>(value);
        EXPECT_FALSE(CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eType)) << value;
    }
}

TEST(Factories, ValueFourHasNeither) {
    const auto eType = static_cast<ERyLow3DDeconvolutionType>(4);
    EXPECT_FALSE(CRy3DDeconvRunParameters::Create3DDeconvParameters(eType));
    EXPECT_FALSE(CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eType));
}

TEST(Factories, DirectValuesHaveParametersButNoCore) {
    for (const auto eType : {eDeconvDirectRun, eDeconvDirectAuto, eDeconvDirectAuto2}) {
        EXPECT_TRUE(CRy3DDeconvRunParameters::Create3DDeconvParameters(eType)) << eType;
        EXPECT_FALSE(CRyAbstract3DDeconvolutionCore::Create3DDeconvolutionCore(eType)) << eType;
    }
}

TEST(Factories, ParametersComeDownByACheckedCast) {
    const auto params = CRy3DDeconvRunParameters::Create3DDeconvParameters(eDeconvLandweberAutomatic);
    auto* const automatic = dynamic_cast<CRy3DAutoDeconvRunParameters*>(params.get());
    ASSERT_NE(automatic, nullptr);
    EXPECT_EQ(automatic->dStopRatio, 1.0007);
    EXPECT_EQ(dynamic_cast<CRy3DBlindDeconvRunParameters*>(params.get()), nullptr);
}

}  // namespace
