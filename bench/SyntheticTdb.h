// Synthetic TDB texts for the benchmarks of large inputs (made in memory,
// never stored): many FUNCTIONs, and a chain of products of constants.
#ifndef BENCH_SYNTHETICTDB_H
#define BENCH_SYNTHETICTDB_H

#include <string>

namespace synthetic {

// functionCount symbol functions (one in four with two ranges, one in four
// referring to its neighbours, before and after it in the file), each with a
// reference after its last range and laid out over lines as published files
// are, and a phase with a parameter for every hundredth of the first 100 000
// functions; about 125 bytes a function, so 400 000 functions make 50 MB.
inline std::string manyFunctions(int functionCount)
{
    std::string t;
    t.reserve(static_cast<size_t>(functionCount) * 130 + 1000);
    t += "ELEMENT VA VACUUM 0 0 0 !\nELEMENT AL FCC_A1 26.98 4577.3 28.3 !\nELEMENT FE BCC_A2 55.8 4489 27.28 !\n";
    t += "PHASE BCC_A2 % 2 1 3 !\nCONSTITUENT BCC_A2 :AL,FE:VA: !\n";
    for (int i = 0; i < functionCount; ++i) {
        const std::string name = "GF" + std::to_string(i);
        const std::string reference = "REF" + std::to_string(i % 1000);
        switch (i % 4) {
        case 0:
            t += " FUNCTION " + name +
                 " 298.15 -7976.15+137.093038*T-24.3671976*T*LN(T)-.001884662*T**2;\n"
                 "    700 Y -11276.24+223.048446*T-38.5844296*T*LN(T)+.018531982*T**2+74092*T**(-1);\n"
                 "             2900 N " + reference + " !\n";
            break;
        case 1:
            t += " FUNCTION " + name + " 298.15 +GF" + std::to_string(i - 1) + "+3*GF" +
                 std::to_string(i + 1 < functionCount ? i + 1 : i - 1) + "+10.5*T;\n             6000 N " + reference + " !\n";
            break;
        default:
            t += " FUNCTION " + name + " 298.15 -1193.24+218.235446*T-38.5844296*T*LN(T)-1.8E-06*T**3;\n             6000 N " + reference + " !\n";
            break;
        }
        if (i % 100 == 0 && i / 100 <= 1000)  // orders stop at 1000
            t += " PARAMETER G(BCC_A2,AL,FE:VA;" + std::to_string(i / 100) + ") 298.15 +" + name + "; 6000 N !\n";
    }
    return t;
}

// A chain of functions, each the product of the next two, defined in reverse
// order of need: F0 = F1*F2, F1 = F2*F3, ..., the last ones constant.  Each
// link can be read only once the ones after it are known to be constant.
inline std::string reverseProductChain(int length)
{
    std::string t = "ELEMENT FE BCC_A2 55.8 4489 27.28 !\n";
    for (int i = 0; i < length; ++i) {
        t += " FUNCTION C" + std::to_string(i) + " 298.15 ";
        if (i + 2 < length)
            t += "C" + std::to_string(i + 1) + "*C" + std::to_string(i + 2);
        else
            t += "1";
        t += "; 6000 N !\n";
    }
    return t;
}

}  // namespace synthetic

#endif
