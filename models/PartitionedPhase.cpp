#include "PartitionedPhase.h"

#include "database/ThermDatabase.h"
#include "host/CVxPhase.h"

namespace {

// The result arrays of one quantity in one set of the phase.
struct Arrays
{
    myCArray<double, double>* grad;
    CVxMatrix* hess;
};

Arrays Regular(CVxPhase& p, int q)
{
    switch (q) {
    case 0: return {&p.m_GradG, &p.m_HessG};
    case 1: return {&p.m_GradTC, &p.m_HessTC};
    default: return {&p.m_GradBMAGN, &p.m_HessBMAGN};
    }
}

Arrays Disordered(CVxPhase& p, int q)
{
    switch (q) {
    case 0: return {&p.m_do_GradG, &p.m_do_HessG};
    case 1: return {&p.m_do_GradTC, &p.m_do_HessTC};
    default: return {&p.m_do_GradBMAGN, &p.m_do_HessBMAGN};
    }
}

}  // namespace

PartitionedPhase::PartitionedPhase(ThermDatabase& db, const PhasePartition& partition, double floor)
    : phase_(*db.phases[static_cast<size_t>(partition.ordered)].phase), partition_(partition), floor_(floor)
{
    n_ = phase_.m_nVarCount;
    nd_ = phase_.m_nDoVarCount;
    group_.assign(static_cast<size_t>(n_), -1);
    weight_.assign(static_cast<size_t>(n_), 0.0);
    y_.assign(static_cast<size_t>(n_), 0.0);
    x_.assign(static_cast<size_t>(nd_), 0.0);
    for (int s = 0; s < static_cast<int>(phase_.m_Constituents.size()); ++s) {
        const bool interstitial = s == partition_.interstitial;
        const double w = interstitial ? 1.0 : phase_.m_SiteRatios[static_cast<size_t>(s)] / partition_.substitutionalSites;
        const std::vector<int>& cs = phase_.m_Constituents[static_cast<size_t>(s)];
        for (size_t i = 0; i < cs.size(); ++i) {
            const int v = phase_.m_VarPos[static_cast<size_t>(s)][i];
            const int g = phase_.Get_do_VarPos(interstitial ? 1 : 0, cs[i]);
            if (v < 0 || v >= n_ || g < 0 || g >= nd_) {
                why_ = std::string("constituent ") + phase_.m_pGibbsModel->GetElementName(cs[i]) + " of sublattice " +
                       std::to_string(s + 1) + " has no place in the disordered part " + phase_.m_szDoName;
                return;
            }
            group_[static_cast<size_t>(v)] = g;
            weight_[static_cast<size_t>(v)] = w;
        }
    }
    const size_t d = static_cast<size_t>(nd_ + 1);
    for (Space& sp : space_) {
        sp.grad.assign(d, 0.0);
        sp.hess.assign(d * d, 0.0);
    }
}

void PartitionedPhase::zeroResults() { phase_.ZeroResults(); }

void PartitionedPhase::setDisorderedArrangement()
{
    double* Y = phase_.m_Y.m_pData;
    for (double& x : x_) x = 0.0;
    for (int v = 0; v < n_; ++v) {
        const size_t u = static_cast<size_t>(v);
        y_[u] = Y[v];
        x_[static_cast<size_t>(group_[u])] += weight_[u] * Y[v];
    }
    for (double& x : x_)
        if (x < floor_) x = floor_;
    double* X = phase_.m_DoY.m_pData;
    for (int g = 0; g < nd_; ++g) X[g] = x_[static_cast<size_t>(g)];
    for (int v = 0; v < n_; ++v) Y[v] = x_[static_cast<size_t>(group_[static_cast<size_t>(v)])];
}

void PartitionedPhase::restoreOrdered()
{
    double* Y = phase_.m_Y.m_pData;
    for (int v = 0; v < n_; ++v) Y[v] = y_[static_cast<size_t>(v)];
}

void PartitionedPhase::takeOrderedAtX(int order, bool magnetic, double g, double tc, double beta)
{
    // E = -(G_ord at the y -> x arrangement), its derivatives summed over the
    // ordered variables of each disordered one.
    const int tp = phase_.m_nTPos, D = nd_ + 1;
    const double values[3] = {g, tc, beta};
    for (int q = 0; q < 3; ++q) {
        Space& sp = space_[q];
        sp.value = -values[q];
        if (order < 1 || (q > 0 && !magnetic)) continue;
        Arrays a = Regular(phase_, q);
        for (double& e : sp.grad) e = 0.0;
        const double* grad = a.grad->m_pData;
        for (int v = 0; v < n_; ++v) sp.grad[static_cast<size_t>(group_[static_cast<size_t>(v)])] -= grad[v];
        sp.grad[static_cast<size_t>(nd_)] = -grad[tp];
        if (order < 2) continue;
        for (double& e : sp.hess) e = 0.0;
        const CVxMatrix& H = *a.hess;
        for (int v = 0; v < n_; ++v) {
            const int gv = group_[static_cast<size_t>(v)];
            for (int w = 0; w < n_; ++w)
                sp.hess[static_cast<size_t>(gv * D + group_[static_cast<size_t>(w)])] -= H(v, w);
            sp.hess[static_cast<size_t>(gv * D + nd_)] -= H(v, tp);
            sp.hess[static_cast<size_t>(nd_ * D + gv)] -= H(tp, v);
        }
        sp.hess[static_cast<size_t>(nd_ * D + nd_)] = -H(tp, tp);
    }
}

void PartitionedPhase::takeDisordered(int order, bool magnetic, double g, double tc, double beta)
{
    // E += scale * G_dis(x); TC and beta are temperatures and moments, not
    // amounts, and add unscaled.
    const int tp = phase_.m_nTPos, D = nd_ + 1;
    const double values[3] = {g, tc, beta};
    for (int q = 0; q < 3; ++q) {
        Space& sp = space_[q];
        const double f = q == 0 ? partition_.scale : 1.0;
        sp.value += f * values[q];
        if (order < 1 || (q > 0 && !magnetic)) continue;
        Arrays a = Disordered(phase_, q);
        const double* grad = a.grad->m_pData;
        for (int j = 0; j < nd_; ++j) sp.grad[static_cast<size_t>(j)] += f * grad[j];
        sp.grad[static_cast<size_t>(nd_)] += f * grad[tp];
        if (order < 2) continue;
        const CVxMatrix& H = *a.hess;
        for (int r = 0; r < D; ++r) {
            const int pr = r < nd_ ? r : tp;
            for (int c = 0; c < D; ++c) sp.hess[static_cast<size_t>(r * D + c)] += f * H(pr, c < nd_ ? c : tp);
        }
    }
}

double PartitionedPhase::addInto(int order, bool magnetic, double g, double& tc, double& beta)
{
    const int tp = phase_.m_nTPos, D = nd_ + 1;
    tc += space_[1].value;
    beta += space_[2].value;
    for (int q = 0; q < 3; ++q) {
        if (order < 1 || (q > 0 && !magnetic)) continue;
        const Space& sp = space_[q];
        Arrays a = Regular(phase_, q);
        double* grad = a.grad->m_pData;
        for (int v = 0; v < n_; ++v) {
            const size_t u = static_cast<size_t>(v);
            grad[v] += weight_[u] * sp.grad[static_cast<size_t>(group_[u])];
        }
        grad[tp] += sp.grad[static_cast<size_t>(nd_)];
        if (order < 2) continue;
        CVxMatrix& H = *a.hess;
        for (int v = 0; v < n_; ++v) {
            const size_t u = static_cast<size_t>(v);
            const int gv = group_[u];
            const double wv = weight_[u];
            for (int w = 0; w < n_; ++w) {
                const size_t uw = static_cast<size_t>(w);
                H(v, w) += wv * weight_[uw] * sp.hess[static_cast<size_t>(gv * D + group_[uw])];
            }
            H(v, tp) += wv * sp.hess[static_cast<size_t>(gv * D + nd_)];
            H(tp, v) += wv * sp.hess[static_cast<size_t>(nd_ * D + gv)];
        }
        H(tp, tp) += sp.hess[static_cast<size_t>(nd_ * D + nd_)];
    }
    return g + space_[0].value;
}
