// The Poisson problem of SolverBench.cpp with hypre: conjugate gradients with BoomerAMG. In double,
// as packages have it. Alone, or as the two processes of `mpirun -np 2`, of which each has half of
// the rows.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>

#include <HYPRE.h>
#include <HYPRE_parcsr_ls.h>
#include <mpi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int kRuns = 3;
constexpr int kReach = 64;  ///< the ball lies within so many cells of the origin

class Problem {
public:
    Problem()
    {
        constexpr int kSide = 2 * kReach;
        constexpr int kSteps[] = {-kSide * kSide, -kSide, -1, 1, kSide, kSide * kSide};
        std::vector<int> ids(kSide * kSide * kSide, -1);
        std::vector<int> places;
        std::vector<double> right;
        for (int place = 0; place < kSide * kSide * kSide; ++place) {
            const Skelvar::vec3i cell{place % kSide - kReach, place / kSide % kSide - kReach,
                                      place / kSide / kSide - kReach};
            if (Bench::isInBall(Bench::kPoissonRadius, cell)) {
                ids[place] = static_cast<int>(places.size());
                places.push_back(place);
                right.push_back(double(Bench::poissonSource(cell)));
            }
        }
        const auto share = [&](int in_rank) {
            return static_cast<int>(static_cast<long long>(places.size()) * in_rank / processes());
        };
        m_first = share(rank());
        const int last = share(rank() + 1) - 1;
        HYPRE_IJMatrixCreate(MPI_COMM_WORLD, m_first, last, m_first, last, &m_matrix);
        HYPRE_IJMatrixSetObjectType(m_matrix, HYPRE_PARCSR);
        HYPRE_IJMatrixInitialize(m_matrix);
        for (int row = m_first; row <= last; ++row) {
            std::vector<HYPRE_Int> columns{row};
            std::vector<HYPRE_Complex> values{6.0};
            for (const int step : kSteps) {
                if (const int other = ids[places[row] + step]; other >= 0) {
                    columns.push_back(other);
                    values.push_back(-1.0);
                }
            }
            HYPRE_Int count = static_cast<HYPRE_Int>(columns.size());
            HYPRE_IJMatrixSetValues(m_matrix, 1, &count, &row, columns.data(), values.data());
        }
        HYPRE_IJMatrixAssemble(m_matrix);
        HYPRE_IJMatrixGetObject(m_matrix, reinterpret_cast<void**>(&m_A));
        m_b = makeVector({right.begin() + m_first, right.begin() + last + 1}, m_right);
        m_x = makeVector(std::vector<double>(last + 1 - m_first, 0.0), m_solution);
    }

    static int rank()
    {
        int rank = 0;
        MPI_Comm_rank(MPI_COMM_WORLD, &rank);
        return rank;
    }
    static int processes()
    {
        int processes = 0;
        MPI_Comm_size(MPI_COMM_WORLD, &processes);
        return processes;
    }

    /// Makes a solver, instead of the last one.
    void setUp()
    {
        if (m_solver != nullptr) {
            HYPRE_ParCSRPCGDestroy(m_solver);
            HYPRE_BoomerAMGDestroy(m_multigrid);
        }
        HYPRE_ParCSRPCGCreate(MPI_COMM_WORLD, &m_solver);
        HYPRE_PCGSetMaxIter(m_solver, 3000);
        HYPRE_PCGSetTol(m_solver, 1e-5);
        HYPRE_PCGSetTwoNorm(m_solver, 1);
        HYPRE_BoomerAMGCreate(&m_multigrid);
        HYPRE_BoomerAMGSetCoarsenType(m_multigrid, 10);
        HYPRE_BoomerAMGSetInterpType(m_multigrid, 6);
        HYPRE_BoomerAMGSetPMaxElmts(m_multigrid, 4);
        HYPRE_BoomerAMGSetAggNumLevels(m_multigrid, 1);
        HYPRE_BoomerAMGSetRelaxType(m_multigrid, 6);
        HYPRE_BoomerAMGSetNumSweeps(m_multigrid, 1);
        HYPRE_BoomerAMGSetTol(m_multigrid, 0.0);
        HYPRE_BoomerAMGSetMaxIter(m_multigrid, 1);
        HYPRE_PCGSetPrecond(m_solver, reinterpret_cast<HYPRE_PtrToSolverFcn>(HYPRE_BoomerAMGSolve),
                            reinterpret_cast<HYPRE_PtrToSolverFcn>(HYPRE_BoomerAMGSetup),
                            m_multigrid);
        HYPRE_ParCSRPCGSetup(m_solver, m_A, m_b, m_x);
    }

    void solve()
    {
        HYPRE_ParVectorSetConstantValues(m_x, 0.0);
        HYPRE_ParCSRPCGSolve(m_solver, m_A, m_b, m_x);
    }

    void printOutcome()
    {
        HYPRE_Int iterations = 0;
        HYPRE_Real residual = 0.0;
        HYPRE_PCGGetNumIterations(m_solver, &iterations);
        HYPRE_PCGGetFinalRelativeResidualNorm(m_solver, &residual);
        const std::string tail = "/hypre-boomeramg/" + std::to_string(processes()) + "t";
        Bench::print("poisson.iterations" + tail, iterations, "iterations");
        Bench::print("poisson.residual" + tail, residual, "relative");
    }

private:
    HYPRE_ParVector makeVector(const std::vector<double>& in_values,
                               HYPRE_IJVector& out_vector) const
    {
        const int count = static_cast<int>(in_values.size());
        HYPRE_IJVectorCreate(MPI_COMM_WORLD, m_first, m_first + count - 1, &out_vector);
        HYPRE_IJVectorSetObjectType(out_vector, HYPRE_PARCSR);
        HYPRE_IJVectorInitialize(out_vector);
        HYPRE_IJVectorSetValues(out_vector, count, nullptr, in_values.data());
        HYPRE_IJVectorAssemble(out_vector);
        HYPRE_ParVector vector;
        HYPRE_IJVectorGetObject(out_vector, reinterpret_cast<void**>(&vector));
        return vector;
    }

    HYPRE_IJMatrix m_matrix;
    HYPRE_IJVector m_right, m_solution;
    HYPRE_ParCSRMatrix m_A;
    HYPRE_ParVector m_b, m_x;
    HYPRE_Solver m_solver = nullptr;
    HYPRE_Solver m_multigrid = nullptr;
    int m_first = 0;  ///< row of this process
};

Problem& problem()
{
    static Problem s_problem;
    return s_problem;
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    MPI_Init(&in_argc, &in_argv);
    HYPRE_Init();
    const int processes = Problem::processes();
    if (Problem::rank() > 0) {
        std::freopen("/dev/null", "w", stdout);  // the first process tells the times
    }
    Bench::add({"poisson.once/hypre-boomeramg", processes, "solves/s", [] { return 1.0; },
                [] {
                    problem().setUp();
                    problem().solve();
                },
                [] { problem(); }, kRuns});
    Bench::add({"poisson.solve/hypre-boomeramg", processes, "solves/s",
                [] {
                    problem().printOutcome();
                    return 1.0;
                },
                [] { problem().solve(); }, [] { problem().setUp(); }, kRuns});
    const int status = Bench::runAll(in_argc, in_argv);
    HYPRE_Finalize();
    MPI_Finalize();
    return status;
}
