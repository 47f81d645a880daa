// The Poisson problem of SolverBench.cpp with Eigen: sparse rows of float, conjugate gradients.

#include <bench/support/Harness.h>
#include <bench/support/Inputs.h>

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/Sparse>

#include <memory>
#include <string>
#include <vector>

namespace {

using Matrix = Eigen::SparseMatrix<float, Eigen::RowMajor, int>;
using Vector = Eigen::VectorXf;

constexpr int kProducts = 10;  ///< in one run
constexpr int kReach = 64;     ///< the ball lies within so many cells of the origin

struct Problem {
    Matrix A;
    Vector b, x, y;

    Problem()
    {
        constexpr int kSide = 2 * kReach;
        constexpr int kSteps[] = {-kSide * kSide, -kSide, -1, 1, kSide, kSide * kSide};
        std::vector<int> ids(kSide * kSide * kSide, -1);
        std::vector<int> places;
        std::vector<float> right;
        for (int place = 0; place < kSide * kSide * kSide; ++place) {
            const Skelvar::vec3i cell{place % kSide - kReach, place / kSide % kSide - kReach,
                                      place / kSide / kSide - kReach};
            if (Bench::isInBall(Bench::kPoissonRadius, cell)) {
                ids[place] = static_cast<int>(places.size());
                places.push_back(place);
                right.push_back(Bench::poissonSource(cell));
            }
        }
        std::vector<Eigen::Triplet<float>> entries;
        const int unknowns = static_cast<int>(places.size());
        for (int n = 0; n < unknowns; ++n) {
            entries.emplace_back(n, n, 6.0f);
            for (const int step : kSteps) {
                if (const int other = ids[places[n] + step]; other >= 0) {
                    entries.emplace_back(n, other, -1.0f);
                }
            }
        }
        A.resize(unknowns, unknowns);
        A.setFromTriplets(entries.begin(), entries.end());
        A.makeCompressed();
        b = Eigen::Map<Vector>(right.data(), unknowns);
        x = Vector::Ones(unknowns);
        y = Vector::Zero(unknowns);
    }
};

Problem& problem()
{
    static Problem s_problem;
    return s_problem;
}

double millionRows()
{
    return static_cast<double>(problem().A.rows()) * 1e-6;
}

template <typename Solver>
void addSolveJobs(const std::string& in_system, int in_threads)
{
    const auto solver = std::make_shared<Solver>();
    const std::string tail = in_system + "/" + std::to_string(in_threads) + "t";
    const auto prepare = [=] {
        Eigen::setNbThreads(in_threads);
        problem();
    };
    Bench::add({"poisson.setup" + in_system, in_threads, "Mrows/s", millionRows,
                [=] { solver->compute(problem().A); }, prepare, 1});
    Bench::add({"poisson.solve" + in_system, in_threads, "solves/s",
                [=] {
                    Problem& p = problem();
                    Bench::print("poisson.iterations" + tail, double(solver->iterations()),
                                 "iterations");
                    Bench::print("poisson.trueresidual" + tail,
                                 double((p.b - p.A * p.x).norm() / p.b.norm()), "relative");
                    return 1.0;
                },
                [=] {
                    solver->setTolerance(1e-5f);
                    solver->setMaxIterations(3000);
                    problem().x = solver->solve(problem().b);
                },
                [=] {
                    prepare();
                    solver->compute(problem().A);
                },
                3});
}

}  // namespace

int main(int in_argc, char** in_argv)
{
    using Diagonal = Eigen::ConjugateGradient<Matrix, Eigen::Lower | Eigen::Upper,
                                              Eigen::DiagonalPreconditioner<float>>;
    using Incomplete = Eigen::ConjugateGradient<
        Matrix, Eigen::Lower | Eigen::Upper,
        Eigen::IncompleteCholesky<float, Eigen::Lower, Eigen::NaturalOrdering<int>>>;
    for (const int threads : {1, 2}) {
        Bench::add({"spmv.rows/eigen", threads, "Mrows/s", [] { return kProducts * millionRows(); },
                    [] {
                        for (int n = 0; n < kProducts; ++n) {
                            problem().y.noalias() = problem().A * problem().b;
                        }
                    },
                    [=] {
                        Eigen::setNbThreads(threads);
                        problem();
                    },
                    5});
        addSolveJobs<Diagonal>("/eigen-diagonal", threads);
    }
    addSolveJobs<Incomplete>("/eigen-cholesky", 2);
    return Bench::runAll(in_argc, in_argv);
}
