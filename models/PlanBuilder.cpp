#include "PlanBuilder.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <vector>

#include "EvaluationPlan.h"
#include "IonicLiquidPhase.h"
#include "PartitionedPhase.h"
#include "PropertyTerms.h"
#include "TemperatureStep.h"
#include "database/ThermDatabase.h"
#include "host/CVxPhase.h"
#include "host/myCString.h"
#include "thermfunctions/TMagnFkt.h"
#include "thermfunctions/TThermFkt.h"

namespace {

constexpr int kTypeGibbs = 0;
constexpr int kTypeCurie = 10;
constexpr int kTypeMoment = 20;
constexpr int kMaxEntries = 10;

// Powers of (d1, d2) with which the evaluator weights a reciprocal parameter
// of order k (interactions in two sublattices): the field's weights for
// orders 1 and 2, the kernel's power of the first difference above.
std::pair<int, int> ReciprocalPowers(int k)
{
    if (k == 1) return {1, 0};
    if (k == 2) return {0, 1};
    return {k, 0};
}

// Group identity: target, shape, the sorted variables of P, the direction variables.
using GroupKey = std::tuple<int, int, std::vector<int>, std::vector<int>>;

struct PendingGroup
{
    EvaluationPlan::Target target;
    EvaluationPlan::Shape shape;
    std::vector<int> vars;        // sorted variables of P
    std::vector<int> directions;  // variables along which S varies (pairs for the differences)
    // coefficients: series by power; bivariate by (i, j); Muggianu 0 = constant, 1..3 members
    std::map<std::pair<int, int>, int> coefIndex;
    std::vector<std::pair<int, int>> coefKeys;
    struct Add
    {
        int coef, parameter;
        double weight;
    };
    std::vector<Add> adds;

    int coef(std::pair<int, int> key)
    {
        auto it = coefIndex.find(key);
        if (it != coefIndex.end()) return it->second;
        const int c = static_cast<int>(coefKeys.size());
        coefIndex[key] = c;
        coefKeys.push_back(key);
        return c;
    }
};

std::string Describe(TThermFkt& f)
{
    myCString text;
    f.WriteOutFunktion(text, 1);
    std::string s = text.c_str();
    while (!s.empty() && (s.back() == '\n' || s.back() == ' ')) s.pop_back();
    const size_t nl = s.find('\n');
    return nl == std::string::npos ? s : s.substr(0, nl);
}

}  // namespace

std::string PlanBuilder::build(ThermDatabase& db, int phaseIndex, EvaluationPlan& plan, TemperatureStep& step,
                               const PhasePartition* partition)
{
    plan = EvaluationPlan();
    if (phaseIndex < 0 || phaseIndex >= static_cast<int>(db.phases.size())) return "not covered: no such phase";
    ThermDatabase::PhaseRecord& rec = db.phases[static_cast<size_t>(phaseIndex)];
    CVxPhase* phase = rec.phase.get();
    TThermFktMgr* list = rec.functions.get();
    if (phase == nullptr || list == nullptr) return "not covered: the phase has no parameter list";
    const int n = phase->m_nVarCount;
    if (n < 0 || phase->m_Y.m_nSize < n) return "not covered: the phase's variables are not set up";
    plan.n_ = n;
    plan.sites_.assign(static_cast<size_t>(n), 0.0);
    for (size_t s = 0; s < phase->m_Constituents.size(); ++s)
        for (size_t i = 0; i < phase->m_Constituents[s].size(); ++i) {
            const int pos = phase->m_VarPos[s][i];
            if (pos >= 0 && pos < n) plan.sites_[static_cast<size_t>(pos)] = phase->m_SiteRatios[s];
        }

    // A partitioned phase takes the magnetic model of its disordered part
    // when it has none of its own, per disordered formula unit.
    const CVxPhase* magneticPhase = phase;
    const int nd = partition != nullptr ? phase->m_nDoVarCount : 0;
    if (partition != nullptr) {
        if (nd <= 0 || phase->m_DoY.m_nSize < nd) return "not covered: the disordered part's variables are not set up";
        if (!(phase->m_dMagneticP > 0.0))
            magneticPhase = db.phases[static_cast<size_t>(partition->disordered)].phase.get();
    }
    // the classic magnetic term; a factor of 0 selects the Curie-Neel model of the property terms
    const bool magnetic = magneticPhase->m_dMagneticP > 0.0 && !PropertyTerms::curieNeel(*magneticPhase);
    // the phase models the plan does not compile (the kernel path evaluates them)
    if (phase->m_nModelType == IonicLiquidPhase::kModelType) return "not covered: the ionic-liquid model";
    // Einstein, two-state and Curie-Neel terms: present when the phase has a
    // parameter of their sums (disabled or not), the last when its type
    // definition selects it
    bool present[EvaluationPlan::kPropertySums] = {};
    for (int i = 0; i < list->m_FktArray.m_nSize; ++i) {
        const PropertyTerms::Sum sum = PropertyTerms::sumOf(*phase, db.dataMgr, *list->m_FktArray.m_pData[i]);
        if (sum != PropertyTerms::kNone) present[sum] = true;
    }
    plan.einstein_ = present[PropertyTerms::kTheta];
    plan.twoState_ = present[PropertyTerms::kGd];
    plan.curieNeel_ = PropertyTerms::curieNeel(*phase);
    plan.propertyTerms_ = plan.einstein_ || plan.twoState_ || plan.curieNeel_;
    if (partition != nullptr && (plan.propertyTerms_ || PropertyTerms::curieNeel(*magneticPhase)))
        return "not covered: Einstein, two-state or Curie-Neel terms of a partitioned phase";
    if (plan.curieNeel_) present[PropertyTerms::kBeta] = present[PropertyTerms::kCurie] = present[PropertyTerms::kNeel] = true;
    for (int q = 0; q < EvaluationPlan::kPropertySums; ++q) {
        if (!present[q]) continue;
        const size_t d = static_cast<size_t>(n) + 1;
        plan.propertySums_[q].n = n;
        plan.propertySums_[q].grad.assign(d, 0.0);
        plan.propertySums_[q].hess.assign(d * (d + 1) / 2, 0.0);
    }
    if (plan.curieNeel_) plan.structureP_ = phase->m_dMagneticP;
    if (magnetic) {
        TMagnFkt g;
        g.Initialize(magneticPhase->m_dMagneticP, const_cast<CVxPhase*>(magneticPhase));
        plan.magnetic_ = true;
        plan.structureP_ = magneticPhase->m_dMagneticP;
        std::copy(g.m_dBelowCoef, g.m_dBelowCoef + 4, plan.below_);
        std::copy(g.m_dAboveCoef, g.m_dAboveCoef + 3, plan.above_);
        plan.afm_ = magneticPhase->m_dAFMFactor != 0.0 ? magneticPhase->m_dAFMFactor : 1.0;
    }
    if (partition != nullptr) {
        PartitionedPhase model(db, *partition, EvaluationPlan::kSiteFractionFloor);
        if (!model.ok()) return "not covered: " + model.why();
        plan.partitioned_ = true;
        plan.nd_ = nd;
        plan.scale_ = partition->scale;
        plan.magR_ = EvaluationPlan::kGasConstant * partition->scale;
        for (int v = 0; v < n; ++v) {
            plan.group_.push_back(model.group(v));
            plan.weight_.push_back(model.weight(v));
        }
        plan.x_.assign(static_cast<size_t>(nd), 0.0);
        plan.yx_.assign(static_cast<size_t>(n), 0.0);
        plan.eGrad_.assign(static_cast<size_t>(nd + 1), 0.0);
        plan.eHess_.assign(static_cast<size_t>(nd + 1) * static_cast<size_t>(nd + 1), 0.0);
        for (int q = 0; q < 3; ++q) {
            for (auto* sp : {&plan.atX_[q], &plan.disordered_[q]}) {
                const size_t d = static_cast<size_t>(sp == &plan.atX_[q] ? n : nd) + 1;
                sp->n = static_cast<int>(d) - 1;
                sp->grad.assign(d, 0.0);
                sp->hess.assign(d * (d + 1) / 2, 0.0);
            }
        }
    }

    std::vector<TThermFkt*> roots;
    std::map<GroupKey, size_t> index;
    std::vector<PendingGroup> pending;
    // the shifted-order rule is the phase's Gibbs model's, as the kernel reads it
    const bool shifted = phase->m_pGibbsModel != nullptr && phase->m_pGibbsModel->m_bShiftedOrders != 0;
    for (int i = 0; i < list->m_FktArray.m_nSize; ++i) {
        TThermFkt* f = list->m_FktArray.m_pData[i];
        const TThermFktData& d = *f->m_pFktData;
        const bool doSet = d.m_bDoSet != 0;
        if ((doSet && partition == nullptr) || d.m_bDisabled) continue;
        int target;
        const PropertyTerms::Sum sum = PropertyTerms::sumOf(*phase, db.dataMgr, *f);
        if (sum != PropertyTerms::kNone)
            target = EvaluationPlan::kFirstPropertySum + sum;
        else if (d.m_nFktType == kTypeGibbs)
            target = EvaluationPlan::kGibbs;
        else if (magnetic && d.m_nFktType == kTypeCurie)
            target = EvaluationPlan::kCurie;
        else if (magnetic && d.m_nFktType == kTypeMoment)
            target = EvaluationPlan::kMoment;
        else
            continue;
        if (doSet && target < EvaluationPlan::kFirstPropertySum) target += EvaluationPlan::kDisorderedGibbs;
        // the set's fractions: the phase's y, or the disordered part's x
        const int setN = doSet ? nd : n;
        double* const* bound = doSet ? f->m_pDoY : f->m_pY;
        const double* setY = doSet ? phase->m_DoY.m_pData : phase->m_Y.m_pData;
        auto refuse = [&](const std::string& why) { return "not covered: parameter " + Describe(*f) + ": " + why; };
        if (f->m_pPhase != phase) return refuse("not bound to the phase");
        const int entries = d.m_nConstituents;
        if (entries < 0 || entries > kMaxEntries) return refuse("more constituent entries than a record holds");
        std::vector<int> var(static_cast<size_t>(entries), -1);
        for (int e = 0; e < entries; ++e) {
            const int a = d.m_nVarPos[e];
            if (a < 0) {
                if (bound[e] != &ConstantOneValue) return refuse("an entry without a variable that is not a wildcard");
                continue;
            }
            if (a >= setN || bound[e] != &setY[a]) return refuse("an entry not bound to its site fraction");
            var[static_cast<size_t>(e)] = a;
        }
        std::vector<int> vars;
        for (int v : var)
            if (v >= 0) vars.push_back(v);
        std::sort(vars.begin(), vars.end());
        if (std::adjacent_find(vars.begin(), vars.end()) != vars.end()) return refuse("a site fraction twice in one product");
        auto entryVar = [&](int e) { return e >= 0 && e < entries ? var[static_cast<size_t>(e)] : -1; };

        const int k = d.m_nOrder, level = d.m_nInteractionLevel;
        const int p = d.m_nInteractPos[0], q = d.m_nInteractPos[1];
        EvaluationPlan::Shape shape = EvaluationPlan::kSeries;
        std::vector<int> directions;
        double sign = 1.0;
        std::pair<int, int> power{0, 0};
        int member = -1;
        if (level <= 0 || (level >= 2 && d.m_bRegular)) {
            if (k != 0) return refuse("an order other than 0 without a binary or ternary interaction");
        } else if (level == 1) {
            if (!d.m_bRegular) return refuse("a non-regular binary interaction");
            if (shifted && k >= 8) return refuse("the shifted-order rule");
            int a = entryVar(p), b = entryVar(p + 1);
            if (a < 0 || b < 0) return refuse("an interacting wildcard");
            power = q >= 0 && k != 0 ? ReciprocalPowers(k) : std::pair<int, int>{k, 0};
            // the differences run from the lower to the higher variable
            if (a > b) {
                std::swap(a, b);
                if (power.first % 2) sign = -sign;
            }
            directions = {a, b};
            if (power.second != 0) {
                int c = entryVar(q), dd = entryVar(q + 1);
                if (c < 0 || dd < 0) return refuse("an interacting wildcard");
                if (c > dd) {
                    std::swap(c, dd);
                    if (power.second % 2) sign = -sign;
                }
                shape = EvaluationPlan::kBivariate;
                directions.push_back(c);
                directions.push_back(dd);
            }
        } else if (level == 2 && !d.m_bRegular) {
            if (k < 0 || k > 2) return refuse("a ternary member other than 0, 1 or 2");
            const int a = entryVar(p), b = entryVar(p + 1), c = entryVar(p + 2);
            if (a < 0 || b < 0 || c < 0) return refuse("an interacting wildcard");
            shape = EvaluationPlan::kMuggianu;
            directions = {a, b, c};
            std::sort(directions.begin(), directions.end());
            member = entryVar(p + k);
        } else {
            return refuse("an interaction shape the plan does not know");
        }

        GroupKey key{target, shape, vars, directions};
        auto it = index.find(key);
        if (it == index.end()) {
            it = index.emplace(key, pending.size()).first;
            PendingGroup g;
            g.target = static_cast<EvaluationPlan::Target>(target);
            g.shape = shape;
            g.vars = vars;
            g.directions = directions;
            pending.push_back(std::move(g));
        }
        PendingGroup& g = pending[it->second];
        const int parameter = static_cast<int>(roots.size());
        roots.push_back(f);
        if (shape == EvaluationPlan::kMuggianu) {
            // w = (1 - yA - yB - yC)/3 + y_member
            g.adds.push_back({g.coef({0, 0}), parameter, 1.0 / 3.0});
            for (int l = 0; l < 3; ++l)
                g.adds.push_back({g.coef({l + 1, 0}), parameter,
                                  directions[static_cast<size_t>(l)] == member ? 2.0 / 3.0 : -1.0 / 3.0});
        } else {
            g.adds.push_back({g.coef(power), parameter, sign});
        }
    }

    // Spaces: G over all variables; TC and BMAGN over the union of their variables.
    // (All variables for a partitioned phase, whose partitioned TC and beta
    // reach every variable through x.)
    std::vector<int> magVars;
    if (partition != nullptr && magnetic) {
        for (int v = 0; v < n; ++v) magVars.push_back(v);
    } else {
        for (const PendingGroup& g : pending)
            if (g.target == EvaluationPlan::kCurie || g.target == EvaluationPlan::kMoment)
                magVars.insert(magVars.end(), g.vars.begin(), g.vars.end());
        std::sort(magVars.begin(), magVars.end());
        magVars.erase(std::unique(magVars.begin(), magVars.end()), magVars.end());
    }
    plan.spaces_[0].n = n;
    for (int t = 1; t <= 2; ++t) {
        EvaluationPlan::Space& s = plan.spaces_[t];
        s.n = static_cast<int>(magVars.size());
        s.global = magVars;
        s.grad.assign(static_cast<size_t>(s.n + 1) * EvaluationPlan::kLanes, 0.0);
        s.hess.assign(static_cast<size_t>(s.n + 1) * static_cast<size_t>(s.n + 2) / 2 * EvaluationPlan::kLanes, 0.0);
    }
    plan.magScratch_.assign(4 * (magVars.size() + 1) * EvaluationPlan::kLanes, 0.0);
    for (int v = 0; v < n; ++v) plan.Ra_.push_back(EvaluationPlan::kGasConstant * plan.sites_[static_cast<size_t>(v)]);
    plan.lnFloor_ = std::log(EvaluationPlan::kSiteFractionFloor);
    // the magnetic Hessian entries' places in the phase's packed Hessian
    for (size_t r = 0; r <= magVars.size(); ++r)
        for (size_t c = r; c <= magVars.size(); ++c)
            plan.magOffset_.push_back(static_cast<uint32_t>(EvaluationPlan::packedIndex(
                r < magVars.size() ? magVars[r] : n, c < magVars.size() ? magVars[c] : n, n + 1)));
    // groups by target, so that each target's groups run in one loop
    std::stable_sort(pending.begin(), pending.end(),
                     [](const PendingGroup& a, const PendingGroup& b) { return a.target < b.target; });
    for (const PendingGroup& g : pending) ++plan.targetBegin_[g.target + 1];
    for (int t = 1; t <= EvaluationPlan::kTargets; ++t) plan.targetBegin_[t] += plan.targetBegin_[t - 1];

    for (PendingGroup& pg : pending) {
        EvaluationPlan::Group g{};
        g.target = pg.target;
        g.shape = pg.shape;
        const int m = static_cast<int>(pg.vars.size());
        g.factors = static_cast<uint8_t>(m);
        g.factorBegin = static_cast<int>(plan.factorVar_.size());
        // variables of the group's space: all of y (G, property sums), the
        // magnetic ones (TC, beta), all of x (the disordered part's parameters)
        const bool ownMagnetic = pg.target == EvaluationPlan::kCurie || pg.target == EvaluationPlan::kMoment;
        const bool overX = pg.target >= EvaluationPlan::kDisorderedGibbs && pg.target < EvaluationPlan::kFirstPropertySum;
        const int spaceN = ownMagnetic ? static_cast<int>(magVars.size()) : overX ? nd : n;
        auto local = [&](int v) {
            if (!ownMagnetic) return v;
            return static_cast<int>(std::lower_bound(magVars.begin(), magVars.end(), v) - magVars.begin());
        };
        for (int v : pg.vars) {
            plan.factorVar_.push_back(v);
            plan.factorLocal_.push_back(local(v));
        }
        g.directions = static_cast<uint8_t>(pg.directions.size());
        for (size_t l = 0; l < pg.directions.size(); ++l)
            g.direction[l] = static_cast<int>(std::lower_bound(pg.vars.begin(), pg.vars.end(), pg.directions[l]) -
                                              pg.vars.begin());
        if (pg.shape == EvaluationPlan::kBivariate) {
            const int8_t e1[4] = {1, -1, 0, 0}, e2[4] = {0, 0, 1, -1};
            std::copy(e1, e1 + 4, g.e1);
            std::copy(e2, e2 + 4, g.e2);
        }
        const int sdim = spaceN + 1;
        g.pairBegin = static_cast<int>(plan.pairOffset_.size());
        for (int i = 0; i < m; ++i)
            for (int j = i; j < m; ++j)
                plan.pairOffset_.push_back(static_cast<uint32_t>(
                    EvaluationPlan::packedIndex(local(pg.vars[static_cast<size_t>(i)]),
                                                local(pg.vars[static_cast<size_t>(j)]), sdim)));
        for (int i = 0; i < m; ++i)
            plan.pairOffset_.push_back(static_cast<uint32_t>(
                EvaluationPlan::packedIndex(local(pg.vars[static_cast<size_t>(i)]), spaceN, sdim)));

        // Coefficient layout: a series by power 0..degree, Muggianu constant
        // then members, bivariate in the order met.
        g.coefBegin = static_cast<int>(plan.coef_.size() / 3);
        std::vector<int> slotOf(pg.coefKeys.size());
        if (pg.shape == EvaluationPlan::kSeries) {
            int degree = 0;
            for (auto& key : pg.coefKeys) degree = std::max(degree, key.first);
            g.degree = degree;
            g.coefCount = degree + 1;
            for (size_t c = 0; c < pg.coefKeys.size(); ++c) slotOf[c] = pg.coefKeys[c].first;
        } else if (pg.shape == EvaluationPlan::kMuggianu) {
            g.coefCount = 4;
            for (size_t c = 0; c < pg.coefKeys.size(); ++c) slotOf[c] = pg.coefKeys[c].first;
        } else {
            g.coefCount = static_cast<int>(pg.coefKeys.size());
            for (size_t c = 0; c < pg.coefKeys.size(); ++c) {
                slotOf[c] = static_cast<int>(c);
                plan.powers_.resize(2 * static_cast<size_t>(g.coefBegin + g.coefCount), 0);
                plan.powers_[2 * static_cast<size_t>(g.coefBegin) + 2 * c] = static_cast<int8_t>(pg.coefKeys[c].first);
                plan.powers_[2 * static_cast<size_t>(g.coefBegin) + 2 * c + 1] =
                    static_cast<int8_t>(pg.coefKeys[c].second);
            }
        }
        plan.coef_.resize(3 * static_cast<size_t>(g.coefBegin + g.coefCount), 0.0);
        if (plan.powers_.size() < 2 * static_cast<size_t>(g.coefBegin + g.coefCount))
            plan.powers_.resize(2 * static_cast<size_t>(g.coefBegin + g.coefCount), 0);
        for (const PendingGroup::Add& a : pg.adds)
            plan.contributions_.push_back({g.coefBegin + slotOf[static_cast<size_t>(a.coef)], a.parameter, a.weight});
        plan.groups_.push_back(g);
    }

    plan.laneCoef_.assign(plan.coef_.size() * EvaluationPlan::kLanes, 0.0);
    plan.laneSum_.assign(plan.coef_.size(), 0.0);
    const std::string stepWhy = step.build(roots, db.symbols(), db.dataMgr, &db.expressions);
    if (!stepWhy.empty()) return "not covered: " + stepWhy;
    return std::string();
}
