#include "PlanEvaluator.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "EvaluationRefusal.h"
#include "PlanBuilder.h"
#include "database/PhasePartition.h"
#include "database/ThermDatabase.h"

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
}  // namespace

PlanEvaluator::PlanEvaluator(ThermDatabase& db, int phaseIndex, Engine engine, PhaseEvaluator::Part part)
    : db_(db), phaseIndex_(phaseIndex), engine_(engine), part_(part)
{
    build();
}

void PlanEvaluator::build()
{
    kernel_ = std::make_unique<PhaseEvaluator>(db_, phaseIndex_, part_);
    planned_ = false;
    coverage_.clear();
    temperatureSet_ = false;
    n_ = kernel_->variableCount();
    yPoint_.assign(static_cast<size_t>(n_), 0.0);
    if (!kernel_->evaluable()) return;
    ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(phaseIndex_)];
    functionCount_ = rec.functions->m_FktArray.m_nSize;
    atomsPerVariable_.assign(static_cast<size_t>(n_), 0.0);
    for (size_t s = 0; s < rec.phase->m_Constituents.size(); ++s)
        for (size_t i = 0; i < rec.phase->m_Constituents[s].size(); ++i) {
            const int pos = rec.phase->m_VarPos[s][i];
            const int c = rec.phase->m_Constituents[s][i];
            if (pos < 0 || pos >= n_ || rec.gibbs == nullptr || c < 0 || c >= rec.gibbs->GetElementCount()) continue;
            atomsPerVariable_[static_cast<size_t>(pos)] +=
                rec.phase->m_SiteRatios[s] * rec.gibbs->m_ElementArray.ElementAt(c).m_dAtoms;
        }
    if (engine_ == Engine::kKernel) return;
    PhasePartition partition;
    std::string partitionWhy;
    const bool partitioned = kernel_->partitioned() && findPartition(db_, phaseIndex_, partition, partitionWhy);
    coverage_ = PlanBuilder::build(db_, phaseIndex_, plan_, step_, partitioned ? &partition : nullptr);
    planned_ = coverage_.empty();
    if (planned_) {
        plan_.prepare(point_);
        const size_t dim = static_cast<size_t>(n_) + 1;
        blockY_.assign(kBlock * static_cast<size_t>(n_), 0.0);
        blockG_.assign(kBlock, 0.0);
        blockGrad_.assign(kBlock * dim, 0.0);
        blockHess_.assign(kBlock * dim * (dim + 1) / 2, 0.0);
    }
}

// The plan belongs to the parameter list and variables it was built from.
bool PlanEvaluator::stale() const
{
    if (!kernel_->evaluable()) return false;
    const ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(phaseIndex_)];
    return rec.functions->m_FktArray.m_nSize != functionCount_ || rec.phase->m_nVarCount != n_;
}

const std::string& PlanEvaluator::why() const
{
    if (!planned_) return kernel_->why();
    if (!kernel_->evaluable()) return kernel_->why();
    return why_.empty() ? rangeWhy_ : why_;
}

bool PlanEvaluator::stepTo(double T, double P, int lane)
{
    if (step_.run(T, P)) {
        rangeWhy_.clear();
        if (lane < 0)
            plan_.setTemperature(T, [this](int i) { return step_.root(i); });
        else
            plan_.setLaneTemperature(lane, T, [this](int i) { return step_.root(i); });
        return true;
    }
    // A function in use does not cover T: the kernel evaluator words the refusal.
    kernel_->setTemperature(T, P);
    rangeWhy_ = kernel_->why();
    if (rangeWhy_.empty()) rangeWhy_ = "T = " + std::to_string(T) + " K is outside the temperature ranges of a function in use";
    return false;
}

void PlanEvaluator::setTemperature(double T, double P)
{
    if (stale()) build();
    T_ = T;
    P_ = P;
    if (!planned_) {
        kernel_->setTemperature(T, P);
        return;
    }
    temperatureSet_ = true;
    why_.clear();
    stepTo(T, P);
}

bool PlanEvaluator::checkCall(const void* y, int order)
{
    if (!kernel_->evaluable()) return false;
    const ThermDatabase::PhaseRecord& rec = db_.phases[static_cast<size_t>(phaseIndex_)];
    EvaluationCall call;
    call.order = order;
    call.y = y;
    call.variableCount = n_;
    call.temperatureSet = temperatureSet_;
    call.variablesChanged = rec.phase->m_nVarCount != n_;
    call.parametersChanged = rec.functions->m_FktArray.m_nSize != functionCount_;
    if (const char* refusal = evaluationRefusal(call)) {
        why_ = refusal;
        return false;
    }
    why_.clear();
    return true;
}

double PlanEvaluator::atoms(const double* y, size_t stride) const
{
    double sum = 0.0;
    for (int v = 0; v < n_; ++v) sum += atomsPerVariable_[static_cast<size_t>(v)] * y[static_cast<size_t>(v) * stride];
    return sum;
}

bool PlanEvaluator::evaluate(const double* y, int order, PhaseProperties& out)
{
    if (!planned_) return kernel_->evaluate(y, order, out);
    if (!checkCall(y, order) || !rangeWhy_.empty()) return false;
    plan_.evaluate(y, 1, order, point_);

    // The kernel evaluator's molar quantities, from the same numbers.
    const int n = n_, dim = n + 1;
    const double atoms = this->atoms(y, 1);
    out.T = T_;
    out.P = P_;
    out.G = point_.G;
    out.atoms = atoms;
    out.GM = out.G / atoms;
    if (out.dG_dy.size() != static_cast<size_t>(n)) out.dG_dy.resize(static_cast<size_t>(n));
    if (out.hessian.size() != static_cast<size_t>(dim * dim)) out.hessian.resize(static_cast<size_t>(dim * dim));
    if (order < 1) {
        out.dG_dT = out.SM = out.HM = out.d2G_dT2 = out.CPM = kNaN;
        for (double& x : out.dG_dy) x = kNaN;
        for (double& x : out.hessian) x = kNaN;
        return true;
    }
    for (int v = 0; v < n; ++v) out.dG_dy[static_cast<size_t>(v)] = point_.grad[static_cast<size_t>(v)];
    out.dG_dT = point_.grad[static_cast<size_t>(n)];
    out.SM = -out.dG_dT / atoms;
    out.HM = out.GM + T_ * out.SM;
    if (order < 2) {
        out.d2G_dT2 = out.CPM = kNaN;
        for (double& x : out.hessian) x = kNaN;
        return true;
    }
    for (int r = 0; r < dim; ++r)
        for (int c = r; c < dim; ++c) {
            const double h = point_.hess[EvaluationPlan::packedIndex(r, c, dim)];
            out.hessian[static_cast<size_t>(r * dim + c)] = h;
            out.hessian[static_cast<size_t>(c * dim + r)] = h;
        }
    out.d2G_dT2 = point_.hess[EvaluationPlan::packedIndex(n, n, dim)];
    out.CPM = -T_ * out.d2G_dT2 / atoms;
    return true;
}

void PlanEvaluator::scatterKernel(int order, size_t count, size_t p, double* G, double* grad, double* hess) const
{
    const PhaseProperties& k = kernelPoint_;
    const int n = n_, dim = n + 1;
    G[p] = k.G;
    if (order >= 1) {
        for (int v = 0; v < n; ++v) grad[static_cast<size_t>(v) * count + p] = k.dG_dy[static_cast<size_t>(v)];
        grad[static_cast<size_t>(n) * count + p] = k.dG_dT;
    }
    if (order >= 2)
        for (int r = 0; r < dim; ++r)
            for (int c = r; c < dim; ++c)
                hess[EvaluationPlan::packedIndex(r, c, dim) * count + p] = k.hessian[static_cast<size_t>(r * dim + c)];
}

bool PlanEvaluator::evaluateBatch(const double* y, size_t count, int order, double* G, double* grad, double* hess)
{
    if (G == nullptr || (order >= 1 && grad == nullptr) || (order >= 2 && hess == nullptr)) {
        why_ = "no result arrays given";
        return false;
    }
    if (!planned_) {
        for (size_t p = 0; p < count; ++p) {
            for (int v = 0; v < n_; ++v) yPoint_[static_cast<size_t>(v)] = y[static_cast<size_t>(v) * count + p];
            if (!kernel_->evaluate(yPoint_.data(), order, kernelPoint_)) return false;
            scatterKernel(order, count, p, G, grad, hess);
        }
        return true;
    }
    if (!checkCall(y, order) || !rangeWhy_.empty()) return false;
    for (size_t p = 0; p < count; p += kBlock)
        if (!runBlock(nullptr, y, count, p, std::min(kBlock, count - p), order, G, grad, hess)) return false;
    return true;
}

bool PlanEvaluator::evaluateBatch(const double* T, double P, const double* y, size_t count, int order, double* G,
                                  double* grad, double* hess)
{
    if (T == nullptr && count > 0) {
        why_ = "no temperatures given";
        return false;
    }
    if (G == nullptr || (order >= 1 && grad == nullptr) || (order >= 2 && hess == nullptr)) {
        why_ = "no result arrays given";
        return false;
    }
    if (!planned_) {
        for (size_t p = 0; p < count; ++p) {
            kernel_->setTemperature(T[p], P);
            for (int v = 0; v < n_; ++v) yPoint_[static_cast<size_t>(v)] = y[static_cast<size_t>(v) * count + p];
            if (!kernel_->evaluate(yPoint_.data(), order, kernelPoint_)) return false;
            scatterKernel(order, count, p, G, grad, hess);
        }
        return true;
    }
    temperatureSet_ = true;
    P_ = P;
    if (!checkCall(y, order)) return false;
    for (size_t p = 0; p < count; p += kBlock)
        if (!runBlock(T, y, count, p, std::min(kBlock, count - p), order, G, grad, hess)) return false;
    // the evaluator stays at the last point's temperature, for single points too
    if (count > 0 && plan_.blockable()) plan_.setTemperature(T_, [this](int i) { return step_.root(i); });
    return true;
}

// Points p0 .. p0+b-1 of a batch (b <= kBlock), each at T[p] when T is given:
// their fractions gathered into the block's lanes, evaluated side by side
// (point by point for a partitioned phase), and written out entry by entry,
// b consecutive values at a time (writing a point's entries straight into
// the batch arrays, a row of count values apart, would keep a few cache sets
// busy and evict the rest).
bool PlanEvaluator::runBlock(const double* T, const double* y, size_t count, size_t p0, size_t b, int order,
                             double* G, double* grad, double* hess)
{
    constexpr size_t L = kBlock;
    const size_t n = static_cast<size_t>(n_), dim = n + 1, packed = dim * (dim + 1) / 2;
    double* by = blockY_.data();
    double* bG = blockG_.data();
    double* bg = blockGrad_.data();
    double* bh = blockHess_.data();
    for (size_t v = 0; v < n; ++v) {
        if (b == L)
            std::memcpy(by + v * L, y + v * count + p0, sizeof(double) * L);
        else
            std::copy(y + v * count + p0, y + v * count + p0 + b, by + v * L);
    }
    const bool lanes = plan_.blockable();
    for (size_t j = 0; j < b && (T != nullptr || !lanes); ++j) {
        if (T != nullptr) {
            T_ = T[p0 + j];
            if (!stepTo(T_, P_, lanes ? static_cast<int>(j) : -1)) return false;
        }
        if (!lanes) plan_.evaluate(by + j, L, order, bG + j, bg + j * dim, bh + j * packed);
    }
    if (lanes) {
        plan_.evaluateBlock(by, order, bG, bg, bh);
        // a whole block copies kBlock values a row, a size the compiler moves inline
        auto rows = [&](const double* from, double* to, size_t stride, size_t rowCount) {
            if (b == L) {
                for (size_t r = 0; r < rowCount; ++r) std::memcpy(to + r * stride + p0, from + r * L, sizeof(double) * L);
            } else {
                for (size_t r = 0; r < rowCount; ++r) std::copy(from + r * L, from + r * L + b, to + r * stride + p0);
            }
        };
        rows(bG, G, count, 1);
        if (order >= 1) rows(bg, grad, count, dim);
        if (order >= 2) rows(bh, hess, count, packed);
        return true;
    }
    for (size_t j = 0; j < b; ++j) G[p0 + j] = bG[j];
    if (order >= 1)
        for (size_t r = 0; r < dim; ++r)
            for (size_t j = 0; j < b; ++j) grad[r * count + p0 + j] = bg[j * dim + r];
    if (order >= 2)
        for (size_t k = 0; k < packed; ++k)
            for (size_t j = 0; j < b; ++j) hess[k * count + p0 + j] = bh[j * packed + k];
    return true;
}
