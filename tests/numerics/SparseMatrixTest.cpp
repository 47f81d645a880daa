#include <skelvar/numerics/SparseMatrixOperations.h>

#include <tests/numerics/DenseReference.h>
#include <tests/support/TempFolder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

namespace Skelvar::Testing {

namespace {

constexpr int kRounds = 30;

/// The arrays of a block as the one allocation holds them.
std::vector<unsigned> numbers(const unsigned short* in_from, int in_count)
{
    return {in_from, in_from + in_count};
}

void expectSorted(const SparseMatrix<float>& in_A)
{
    for (int depth = 0; depth < kNumDepths; ++depth) {
        for (int tile = 0; tile < in_A.numTiles(depth); ++tile) {
            TileIdentifier last;
            for (const SparseMatrixTile<float>& block : in_A.blocks(tile, depth)) {
                const TileIdentifier column{block.tileId(), block.tileIndex(), block.depth()};
                EXPECT_TRUE(last < column);
                EXPECT_EQ(in_A.layout()->node(column.index, column.depth).id(), column.id);
                last = column;
                const auto ids = numbers(block.rowIds(), block.numRows());
                EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end(), std::less_equal<unsigned>()));
                EXPECT_LT(0, block.numEntries());
            }
        }
    }
}

}  // namespace

TEST(SparseMatrixTile, KnowsItsTwoValuesUntilTheyMayBeWritten)
{
    DynamicSparseMatrixTile<float> gathered;
    for (const int cell : {0, 1, 2}) {
        gathered.add(cell, cell, 4.0f);
        gathered.add(cell, (cell + 1) % 3, -1.0f);
    }
    SparseMatrixTile<float> block;

    gathered.convert(77, 5, 6, &block);

    ASSERT_NE(nullptr, block.uniformValues());
    EXPECT_EQ(4.0f, block.uniformValues()->diagonal);
    EXPECT_EQ(-1.0f, block.uniformValues()->other);
    SparseMatrixTile<float> copy = block;
    copy.values();
    EXPECT_EQ(nullptr, copy.uniformValues());
    DynamicSparseMatrixTile<float> zeros;
    zeros.add(1, 2, 0.0f);
    zeros.add(2, 1, -0.0f);
    zeros.convert(77, 5, 6, &copy);
    EXPECT_EQ(nullptr, copy.uniformValues()) << "two zeros are two values";
    EXPECT_NE(nullptr, block.uniformValues());
    gathered.add(2, 1, -0.0f);
    gathered.convert(77, 5, 6, &block);
    EXPECT_EQ(nullptr, block.uniformValues());
}

TEST(SparseMatrixTile, FreezesEntriesInOneAllocation)
{
    DynamicSparseMatrixTile<float> gathered;
    gathered.add(9, 4, 1.0f);
    gathered.add(2, 7, 2.0f);
    gathered.add(9, 1, 3.0f);
    gathered.add(2, 7, 0.5f);
    gathered.add(9, 4, -4.0f);
    SparseMatrixTile<float> block;

    gathered.convert(77, 5, 6, &block);

    EXPECT_EQ(77u, block.tileId());
    EXPECT_EQ(5, block.tileIndex());
    EXPECT_EQ(6, block.depth());
    ASSERT_EQ(2, block.numRows());
    ASSERT_EQ(3, block.numEntries());
    EXPECT_EQ(4u * 3 + 4 * 3 + 2 * 2 + 2 * 3, block.memUsage());
    EXPECT_EQ((std::vector<float>{2.5f, 3.0f, -3.0f}),
              std::vector<float>(block.values(), block.values() + 3));
    EXPECT_EQ((std::vector<unsigned>{0, 1, 3}),
              std::vector<unsigned>(block.rowStarts(), block.rowStarts() + 3));
    EXPECT_EQ((std::vector<unsigned>{2, 9}), numbers(block.rowIds(), 2));
    EXPECT_EQ((std::vector<unsigned>{7, 1, 4}), numbers(block.columnIds(), 3));
    const char* const start = reinterpret_cast<const char*>(block.values());
    EXPECT_EQ(start + 12, reinterpret_cast<const char*>(block.rowStarts()));
    EXPECT_EQ(start + 24, reinterpret_cast<const char*>(block.rowIds()));
    EXPECT_EQ(start + 28, reinterpret_cast<const char*>(block.columnIds()));

    DynamicSparseMatrixTile<float>().convert(1, 2, 3, &block);
    EXPECT_EQ(0, block.numRows());
    EXPECT_EQ(0, block.numEntries());
    EXPECT_EQ(0u, block.rowStarts()[0]);
    EXPECT_EQ(4u, block.memUsage());
}

// Duplicates are summed in float and in the order in which they came: 1e8 + 1 - 1e8 is 0 there.
TEST(SparseMatrixTile, SumsDuplicatesInTheirOrder)
{
    DynamicSparseMatrixTile<float> gathered;
    for (int column = 19; column >= 0; --column) {  // more than what is sorted by insertion
        for (const float value : {1e8f, 1.0f, -1e8f}) {
            gathered.add(3, column, value);
            gathered.add(1, 1, 1.0f);
        }
    }
    SparseMatrixTile<float> block;

    gathered.convert(0, 0, 0, &block);

    ASSERT_EQ(21, block.numEntries());
    EXPECT_EQ(60.0f, block.values()[0]);
    for (int n = 1; n < 21; ++n) {
        EXPECT_EQ(0.0f, block.values()[n]);
    }
}

TEST(SparseMatrixTile, CopiesAreTheirOwn)
{
    DynamicSparseMatrixTile<float> gathered;
    gathered.add(1, 2, 3.0f);
    gathered.add(2, 1, 5.0f);
    SparseMatrixTile<float> block;
    gathered.convert(7, 8, 2, &block);

    SparseMatrixTile<float> copy = block;
    EXPECT_EQ(8, copy.tileIndex());
    EXPECT_EQ(2, copy.depth());
    EXPECT_EQ(nullptr, copy.uniformValues());
    copy.values()[0] = 4.0f;
    const SparseMatrixTile<float> moved = std::move(copy);
    const SparseMatrixTile<float> empty = SparseMatrixTile<float>();

    EXPECT_EQ(3.0f, block.values()[0]);
    EXPECT_EQ(4.0f, moved.values()[0]);
    EXPECT_EQ(2, moved.columnIds()[0]);
    EXPECT_EQ(7u, moved.tileId());
    EXPECT_EQ(0u, empty.memUsage());
}

// A block's stencil stands for its very pattern: one entry more, less or elsewhere, and it is none.
TEST(SparseMatrixTile, KnowsTheStencilsByTheirWholePattern)
{
    const auto gather = [](auto in_couples) {
        DynamicSparseMatrixTile<float> gathered;
        for (int a = 0; a < kTileSize; ++a) {
            for (int b = 0; b < kTileSize; ++b) {
                if (in_couples(vec3i{a % 5, a / 5 % 5, a / 25}, vec3i{b % 5, b / 5 % 5, b / 25})) {
                    gathered.add(a, b, 1.0f);
                }
            }
        }
        return gathered;
    };
    const auto near = [](const vec3i& in_a, const vec3i& in_b) {
        return std::abs(in_a[0] - in_b[0]) + std::abs(in_a[1] - in_b[1]) +
                   std::abs(in_a[2] - in_b[2]) <=
               1;
    };
    const auto frozen = [](DynamicSparseMatrixTile<float> in_gathered) {
        SparseMatrixTile<float> block;
        in_gathered.convert(0, 0, 0, &block);
        const SparseMatrixPattern shared = block.pattern();
        for (int n = 0; n <= block.numRows(); ++n) {
            EXPECT_EQ(block.rowStarts()[n], shared.row_starts[n]);
        }
        EXPECT_EQ(numbers(block.rowIds(), block.numRows()),
                  numbers(shared.row_ids, block.numRows()));
        EXPECT_EQ(numbers(block.columnIds(), block.numEntries()),
                  numbers(shared.column_ids, block.numEntries()));
        return block.stencil();
    };

    EXPECT_EQ(SparseMatrixStencil::eCore, frozen(gather(near)));
    for (int side = 0; side < 6; ++side) {
        const vec3i step{side / 2 == 0, side / 2 == 1, side / 2 == 2};
        const int sign = side % 2 == 0 ? -1 : 1;
        const auto beyond = [&](const vec3i& in_a, const vec3i& in_b) {
            return in_a + sign * step == in_b + 5 * sign * step;
        };
        EXPECT_EQ(static_cast<SparseMatrixStencil>(1 + side), frozen(gather(beyond)));
    }
    DynamicSparseMatrixTile<float> shifted = gather(near);
    shifted[200].column = static_cast<unsigned short>(shifted[200].column + 50);
    EXPECT_EQ(SparseMatrixStencil::eNone, frozen(shifted));
    DynamicSparseMatrixTile<float> more = gather(near);
    more.add(0, 124, 1.0f);
    EXPECT_EQ(SparseMatrixStencil::eNone, frozen(more));
}

TEST(SparseMatrix, AgreesWithADenseOne)
{
    for (unsigned seed = 1; seed <= kRounds; ++seed) {
        Random random(seed);
        SCOPED_TRACE(random.seed());
        const auto layout = randomLayout(random);
        Dense a;
        Dense b;
        const SparseMatrix<float> A = randomMatrix(*layout, random, &a);
        const SparseMatrix<float> B = randomMatrix(*layout, random, &b);
        GenericDenseVector<float> x(*layout, 0.0f);
        fillVector(x, [&](int, int, int) { return random.integer(-9, 9); });
        GenericDenseVector<float> y(*layout, 5.0f);
        SparseMatrix<float> product;
        SparseMatrix<float> turned;
        SparseMatrix<float> back;

        matrixVectorMultiply(A, x, &y);
        matrixMatrixMultiply(A, B, &product);
        transpose(A, &turned);
        transpose(turned, &back);

        EXPECT_EQ(a, toDense(A));
        EXPECT_EQ(multiply(a, toDense(x)), toDense(y));
        EXPECT_EQ(multiply(a, b), toDense(product));
        EXPECT_EQ(transpose(a), toDense(turned));
        EXPECT_EQ(a, toDense(back));
        expectSorted(product);
        expectSorted(turned);
    }
}

TEST(SparseMatrix, TimesAnEmptyOneHasNoBlocks)
{
    Random random(4);
    const auto layout = Skelvar::Test::LayoutBuilder().box({0, 0, 0}, {10, 5, 5}).build();
    const SparseMatrix<float> A = randomMatrix(*layout, random);
    SparseMatrix<float> product = A;

    for (const bool has_layout : {true, false}) {
        const SparseMatrix<float> empty =
            has_layout ? SparseMatrix<float>(*layout) : SparseMatrix<float>();
        matrixMatrixMultiply(A, empty, &product);

        for (int tile = 0; tile < 2; ++tile) {
            EXPECT_TRUE(product.blocks(tile, 7).empty());
        }
    }
}

TEST(SparseMatrix, DumpsAsText)
{
    const auto layout =
        Skelvar::Test::LayoutBuilder().tile({0, 0, 0}, 7).tile({25, 0, 0}, 7).build();
    const int depth = 7;
    ASSERT_EQ(2, layout->numNodes());
    SparseMatrix<float> A(*layout);
    DynamicSparseMatrixRow<float> row;
    row[TileIdentifier{layout->node(0, depth).id(), 0, depth}].add(2, 3, 0.5f);
    row[TileIdentifier{layout->node(1, depth).id(), 1, depth}].add(124, 0, -1e-9f);
    A.setBlocks(0, depth, row);
    GenericDenseVector<float> x(*layout, 0.0f);
    GenericDenseVector<unsigned char> marks(*layout, 0, 2);
    marks.tileData(1, depth)[0] = 200;
    EXPECT_EQ(2, GenericDenseVector<unsigned char>(*layout, marks).tileDataSize(1, depth));

    std::ostringstream used;
    matrixDump(used, "A", A, false);
    std::ostringstream whole;
    matrixDump(whole, "A", A, x, x);
    std::ostringstream vector;
    vectorDump(vector, "m", marks);

    EXPECT_EQ(
        "A=sparse([3,125],\n[4,5],\n[0.5,-1e-09],\n125,5);\n"
        "A_rowMap=[1,1];\nA_colMap=[1,1,5];\n",
        used.str());
    EXPECT_EQ(
        "A=sparse([3,125],\n[4,126],\n[0.5,-1e-09],\n250,250);\n"
        "A_rowMap=[1,1,126];\nA_colMap=[1,1,126];\n",
        whole.str());
    EXPECT_EQ("m=[0;0;200;0];m_map=[1,1,3];", vector.str());
    std::ostringstream all;
    matrixDump(all, "A", A, true);
    EXPECT_EQ(whole.str(), all.str());
}

TEST(SparseMatrix, DumpsAreReadByOctave)
{
    if (std::system("octave-cli --version > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "octave-cli is not installed";
    }
    Random random(12);
    SCOPED_TRACE(random.seed());
    const auto layout = randomLayout(random);
    Dense dense;
    const SparseMatrix<float> A = randomMatrix(*layout, random, &dense);
    GenericDenseVector<int> x(*layout, 0);
    fillVector(x, [&](int, int, int) { return random.integer(-9, 9); });
    const Skelvar::Test::TempFolder folder;
    {
        std::ofstream script(folder.file("product.m"));
        matrixDump(script, "A", A, true);
        vectorDump(script, "x", x);
        script << "\nprintf(\"%d\\n\", A * x);\n";
    }

    ASSERT_EQ(0, std::system(("octave-cli --norc --no-history --quiet '" +
                              folder.file("product.m") + "' > '" + folder.file("product") + "'")
                                 .c_str()));

    std::ifstream numbers(folder.file("product"));
    const std::vector<double> found{std::istream_iterator<double>(numbers), {}};
    EXPECT_EQ(multiply(dense, toDense(x)), found);
}

}  // namespace Skelvar::Testing
