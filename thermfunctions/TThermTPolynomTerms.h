// The sum of one piece's terms, shared by the plain evaluation
// (TThermTPolynom::Calc) and the on-demand one (SaveCalc).  Every read of a
// referenced symbol function goes through read(s, order), in the order the
// terms are summed, so that the on-demand variant can bring function s up to
// date right before that read (not once before the whole sum: a function that
// reads the same forward reference twice must see it as it is at each read).
#ifndef THERMFUNCTIONS_TTHERMTPOLYNOMTERMS_H
#define THERMFUNCTIONS_TTHERMTPOLYNOMTERMS_H

#include <cmath>

#include "TTempArray.h"
#include "TThermTPolynom.h"

template <class Read>
double SumPieceTerms(const TThermTPolynom& p, double T, double P, int nDeriv, Read read)
{
    double G;
    switch (nDeriv) {
    case 0: {
        G = (T * p.m_dB + p.m_dA) + p.m_dC * TK.m_dTLnT;
        for (int i = 0; i < p.m_nPowerTerms; ++i) G += p.m_adPowerCoef[i] * TK.ElementAt(p.m_anPowerExp[i] + 31);
        for (int j = 0; j < p.m_nSymbolTerms; ++j) G += read(p.m_anSymbolIndex[j], 0) * p.m_adSymbolFactor[j];
        if (p.m_bRTLnTerm) {
            double x = p.m_dRTLnFactor;
            if (p.m_nRTLnSymbol >= 0) x *= read(p.m_nRTLnSymbol, 0);
            G += (T * VX_POLY_GAS_CONSTANT) * std::log(x);
        }
        if (p.m_bLnTerm) {
            double g = p.m_dLnArg;
            if (p.m_nLnArgSymbol >= 0) g *= read(p.m_nLnArgSymbol, 0);
            double f = p.m_dLnFactor * std::log(g);
            if (p.m_nLnFactorSymbol >= 0) f *= read(p.m_nLnFactorSymbol, 0);
            G += f;
        }
        if (p.m_bExpTerm) {
            double g = p.m_dExpArg;
            if (p.m_nExpArgSymbol >= 0) g *= read(p.m_nExpArgSymbol, 0);
            double f = p.m_dExpFactor * std::exp(g);
            if (p.m_nExpFactorSymbol >= 0) f *= read(p.m_nExpFactorSymbol, 0);
            G += f;
        }
        if (p.m_bPressureTerms) {
            if (p.m_bPTerm) {
                double t = P * p.m_dPCoef;
                if (p.m_nPSymbol >= 0) t *= read(p.m_nPSymbol, 0);
                G += t;
            }
            if (p.m_bTPTerm) {
                double t = (P * p.m_dTPCoef) * T;
                if (p.m_nTPSymbol >= 0) t *= read(p.m_nTPSymbol, 0);
                G += t;
            }
            if (p.m_bT2PTerm) {
                double t = ((P * p.m_dT2PCoef) * T) * T;
                if (p.m_nT2PSymbol >= 0) t *= read(p.m_nT2PSymbol, 0);
                G += t;
            }
        }
        return G;
    }
    case 1:
        G = p.m_dB + p.m_dC * (std::log(T) + 1.0);
        for (int i = 0; i < p.m_nPowerTerms; ++i) {
            int n = p.m_anPowerExp[i];
            G += (static_cast<double>(n) * p.m_adPowerCoef[i]) * TK.ElementAt(n + 30);
        }
        break;
    case 2:
        G = p.m_dC / T;
        for (int i = 0; i < p.m_nPowerTerms; ++i) {
            int n = p.m_anPowerExp[i];
            G += (static_cast<double>(n * (n - 1)) * p.m_adPowerCoef[i]) * TK.ElementAt(n + 29);
        }
        break;
    case 3:
        G = -p.m_dC / (T * T);
        for (int i = 0; i < p.m_nPowerTerms; ++i) {
            int n = p.m_anPowerExp[i];
            G += (static_cast<double>(n * (n - 1) * (n - 2)) * p.m_adPowerCoef[i]) * TK.ElementAt(n + 28);
        }
        break;
    default: return 0.0;
    }
    for (int j = 0; j < p.m_nSymbolTerms; ++j) G += read(p.m_anSymbolIndex[j], nDeriv) * p.m_adSymbolFactor[j];
    return G;
}

#endif
