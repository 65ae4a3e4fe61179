// SPDX-License-Identifier: MIT

// A swapped stock whose file was exchanged for the input. The first byte chooses the keys of the stock, one a
// bit; bit 7 gives its entries items already. What Get accepts is what Swap writes, byte for byte.

#include <gnr_deconvolution/memory_stock.h>
#include <ry_platform/ry_platform.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr std::array<const wchar_t*, 7> kKeys = {L"",      L"a",  L"fLambda",   L"fSum2",
                                                 L"image", L"ph", L"\U0001f52c"};

using Bytes = std::vector<char>;

void Require(bool holds) {
    if (!holds) std::abort();
}

/// One file for all inputs of the process, removed at its end.
const std::filesystem::path& InputFile() {
    struct File {
        File() {
            std::array<wchar_t, 0x104> folder{};
            std::array<wchar_t, 0x104> name{};
            Require(RY_GetTempPath(0x104, folder.data()) != 0);
            Require(RY_GetTempFileName(folder.data(), L"fuzz", 0, name.data(), 0x104) == 0);
            path = name.data();
        }
        ~File() {
            std::error_code gone;
            std::filesystem::remove(path, gone);
        }
        std::filesystem::path path;
    };
    static const File file;
    return file.path;
}

Bytes Contents(const CRyStringW& path) {
    std::ifstream file(std::filesystem::path(path.c_str()), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void AddKeys(CRyMemoryStock& stock, unsigned choice) {
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
        if ((choice >> i & 1) == 0) continue;
        float value = 1;
        stock.items[kKeys[i]] =
            (choice & 0x80) != 0 ? new CRyMemoryStockItem(&value, sizeof value, false) : nullptr;
    }
}

void RequireSameOnTheWayBack(CRyMemoryStock& stock, const Bytes& file) {
    Require(!stock.bSwapped && stock.strSwapFile.empty() && !std::filesystem::exists(InputFile()));
    Require(stock.Swap() == 0);
    const Bytes written = Contents(stock.strSwapFile);
    Require(written.size() <= file.size() && std::equal(written.begin(), written.end(), file.begin()));
    Require(stock.Get() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0) return 0;
    const Bytes contents(bytes + 1, bytes + size);
    {
        std::ofstream file(InputFile(), std::ios::binary);
        file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    }
    CRyMemoryStock stock;
    AddKeys(stock, bytes[0]);
    stock.bSwapped = true;
    stock.strSwapFile = CRyStringW(InputFile().wstring().c_str());

    if (stock.Get() == 0) {
        RequireSameOnTheWayBack(stock, contents);
    } else {
        Require(stock.bSwapped && !stock.strSwapFile.empty() && std::filesystem::exists(InputFile()));
    }
    for (const auto& [key, item] : stock.items) delete item;
    stock.items.clear();
    return 0;
}
