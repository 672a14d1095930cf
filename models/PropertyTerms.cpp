#include "PropertyTerms.h"

#include <algorithm>

#include "EinsteinTerm.h"
#include "TwoStateTerm.h"
#include "XiongMagnetic.h"
#include "host/CVxDataMgr.h"
#include "host/CVxPhase.h"
#include "thermfunctions/TThermFkt.h"
#include "thermfunctions/TThermFktMgr.h"

namespace {
constexpr int kTypeCurie = 10;
constexpr int kTypeMoment = 20;
constexpr int kFirstNamedType = 10000;
}  // namespace

bool PropertyTerms::isModelKeyword(const std::string& k) { return k == "THETA" || k == "GD" || k == "NT"; }

bool PropertyTerms::curieNeel(const CVxPhase& phase) { return phase.m_dMagneticP > 0.0 && phase.m_dAFMFactor == 0.0; }

PropertyTerms::Sum PropertyTerms::sumOf(const CVxPhase& phase, const CVxDataMgr& dm, const TThermFkt& f)
{
    const TThermFktData& d = *f.m_pFktData;
    if (d.m_bDoSet) return kNone;
    const bool xiong = curieNeel(phase);
    const int type = d.m_nFktType;
    if (xiong && type == kTypeCurie) return kCurie;
    if (xiong && type == kTypeMoment) return kBeta;
    const int k = type - kFirstNamedType;
    if (k < 0 || k >= dm.m_TypeKeywords.m_nSize) return kNone;
    const std::string keyword = dm.m_TypeKeywords.m_pData[k].c_str();
    if (keyword == "THETA") return kTheta;
    if (keyword == "GD") return kGd;
    if (keyword == "NT" && xiong) return kNeel;
    return kNone;
}

PropertyTerms::PropertyTerms(const CVxPhase& phase, const CVxDataMgr& dm, const TThermFktMgr& list, int n)
    : n_(n), theta_(n), gd_(n), tc_(n), nt_(n), beta_(n), grad_(static_cast<size_t>(n + 1), 0.0),
      hess_(static_cast<size_t>((n + 1) * (n + 1)), 0.0)
{
    xiong_ = curieNeel(phase);
    p_ = phase.m_dMagneticP;
    ParameterSum* sums[] = {&theta_, &gd_, &beta_, &tc_, &nt_};
    for (int i = 0; i < list.m_FktArray.m_nSize; ++i) {
        TThermFkt* f = list.m_FktArray.m_pData[i];
        const Sum s = sumOf(phase, dm, *f);
        if (s != kNone) sums[s]->add(f);
    }
    einstein_ = !theta_.empty();
    twoState_ = !gd_.empty();
}

bool PropertyTerms::reads(const TThermFkt* f) const
{
    for (const ParameterSum* s : {&theta_, &gd_, &tc_, &nt_, &beta_}) {
        const std::vector<TThermFkt*>& v = s->parameters();
        if (std::find(v.begin(), v.end(), f) != v.end()) return true;
    }
    return false;
}

void PropertyTerms::evaluate(double T, double R, int order)
{
    value_ = 0.0;
    if (order >= 1) std::fill(grad_.begin(), grad_.end(), 0.0);
    if (order >= 2) std::fill(hess_.begin(), hess_.end(), 0.0);
    if (einstein_) {
        theta_.evaluate(order);
        EinsteinTerm::partials(theta_.value(), T, R, partials_);
        const ParameterSum* sums[] = {&theta_};
        AddSumComposition(partials_, sums, order, n_, value_, grad_.data(), hess_.data());
    }
    if (twoState_) {
        gd_.evaluate(order);
        TwoStateTerm::partials(gd_.value(), T, R, partials_);
        const ParameterSum* sums[] = {&gd_};
        AddSumComposition(partials_, sums, order, n_, value_, grad_.data(), hess_.data());
    }
    if (xiong_) {
        beta_.evaluate(order);
        tc_.evaluate(order);
        nt_.evaluate(order);
        XiongMagnetic::partials(beta_.value(), tc_.value(), nt_.value(), T, p_, R, partials_);
        const ParameterSum* sums[] = {&beta_, &tc_, &nt_};
        AddSumComposition(partials_, sums, order, n_, value_, grad_.data(), hess_.data());
    }
}
