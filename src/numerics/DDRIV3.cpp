// The DDRIV3 driver: input checks, start of an integration, the stopping-function search after each
// step, the return conditions of NTASK 1, 2 and 3, and the messages. Follows the published routine
// (revision 850924) statement by statement; labels keep the published numbers.

#include "ostreljet/numerics/DDRIV3.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "DDRIV3Internal.hpp"

namespace ostreljet {

namespace {

using ddriv::D1MACH;
using ddriv::fsign;

constexpr int kMsgLength = 205;
// The message is composed here; one buffer per thread, like the pointer to the solver object.
thread_local char MSG[kMsgLength + 1];

// A Fortran Dw.d field: [-]0.dddddddd, the letter D and a signed two-digit exponent (or a signed three-digit
// exponent without the letter beyond 99), right-justified in w characters.
void formatD(char *out, int w, int d, double x) {
    char body[128];
    if (std::isnan(x)) {
        std::snprintf(body, sizeof body, "NaN");
    } else if (std::isinf(x)) {
        std::snprintf(body, sizeof body, "%s", x < 0.0 ? "-Infinity" : "Infinity");
    } else {
        char digits[32];
        int exponent = 0;
        if (x == 0.0) {
            std::memset(digits, '0', static_cast<std::size_t>(d));
            digits[d] = '\0';
        } else {
            char e[64];
            std::snprintf(e, sizeof e, "%.*e", d - 1, std::fabs(x));
            // e is "m.mmmmmmme+XX": the d mantissa digits, then the decimal exponent of the leading digit.
            int k = 0;
            for (const char *p = e; *p != 'e' && k < 30; ++p) {
                if (*p != '.') {
                    digits[k++] = *p;
                }
            }
            digits[k] = '\0';
            exponent = std::atoi(std::strchr(e, 'e') + 1) + 1;
        }
        char expField[16];
        if (std::abs(exponent) <= 99) {
            std::snprintf(expField, sizeof expField, "D%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
        } else {
            std::snprintf(expField, sizeof expField, "%c%03d", exponent < 0 ? '-' : '+', std::abs(exponent));
        }
        std::snprintf(body, sizeof body, "%s0.%s%s", std::signbit(x) ? "-" : "", digits, expField);
    }
    int len = static_cast<int>(std::strlen(body));
    const char *start = body;
    if (len > w && (std::strncmp(body, "0.", 2) == 0 || std::strncmp(body, "-0.", 3) == 0)) {
        // The leading zero is optional and is the first thing dropped when the field is too narrow.
        if (body[0] == '-') {
            body[1] = '-';
        }
        ++start;
        --len;
    }
    if (len > w) {
        std::memset(out, '*', static_cast<std::size_t>(w));
        return;
    }
    std::memset(out, ' ', static_cast<std::size_t>(w - len));
    std::memcpy(out + (w - len), start, static_cast<std::size_t>(len));
}

// A Fortran Iw field: the integer right-justified in w characters, asterisks if it does not fit.
void formatI(char *out, int w, int value) {
    char body[32];
    const int len = std::snprintf(body, sizeof body, "%d", value);
    if (len > w) {
        std::memset(out, '*', static_cast<std::size_t>(w));
        return;
    }
    std::memset(out, ' ', static_cast<std::size_t>(w - len));
    std::memcpy(out + (w - len), body, static_cast<std::size_t>(len));
}

// Composes one record of the message buffer from position pos (1-based), as a formatted write into MSG(pos:):
// the pieces in order, then blanks to the end of the buffer.
class Record {
public:
    explicit Record(int pos) : at_(pos - 1) {
        std::memset(MSG + at_, ' ', static_cast<std::size_t>(kMsgLength - at_));
        MSG[kMsgLength] = '\0';
    }
    Record &text(const char *s) {
        const std::size_t len = std::strlen(s);
        std::memcpy(MSG + at_, s, len);
        at_ += static_cast<int>(len);
        return *this;
    }
    Record &d16(double x) {
        formatD(MSG + at_, 16, 8, x);
        at_ += 16;
        return *this;
    }
    Record &i(int w, int value) {
        formatI(MSG + at_, w, value);
        at_ += w;
        return *this;
    }

private:
    int at_;
};

void XERROR(int nmessg, int nerr, int level) {
    integratorMessage(MSG, nmessg, nerr, level);
}

} // namespace

void DDRIV3(int *n, double *t, double *y, DerivativeFn f, int *nstate, double *tout, int *ntask, int *nroot,
            double *eps, double *ewt, int *ierror, int *mint, int *miter, int *impl, int *ml, int *mu,
            int *mxord, double *hmax, double *work, int *lenw, int *iwork, int *leniw, JacobianFn jacobn,
            MassMatrixFn fa, int *nde, int *mxstep, RootFn g) {
    using ddriv::DDNTP;
    constexpr double NROUND = 20.0;
    constexpr int IAVGH = 1, IHUSED = 2, IAVGRD = 3, IEL = 4, IH = 160, IHMAX = 161, IHOLD = 162,
                  IHSIGN = 163, IRC = 164, IRMAX = 165, IT = 166, ITOUT = 167, ITQ = 168, ITREND = 204,
                  IYH = 205;
    constexpr int INDMXR = 1, INQUSD = 2, INSTEP = 3, INFE = 4, INJE = 5, INROOT = 6, ICNVRG = 7, IJROOT = 8,
                  IJTASK = 9, IMNTLD = 10, IMTRLD = 11, INQ = 12, INRTLD = 13, INDTRT = 14, INWAIT = 15,
                  IMNT = 16, IMTRSV = 17, IMTR = 18, IMXRDS = 19, IMXORD = 20;
    constexpr int INDPRT = 21, INDPVT = 22;

    int &N = *n;
    double &T = *t;
    int &NSTATE = *nstate;
    const double TOUT = *tout;
    const int NTASK = *ntask;
    const int NROOT = *nroot;
    double &EPS = *eps;
    const int IERROR = *ierror;
    const int MINT = *mint;
    const int MITER = *miter;
    const int IMPL = *impl;
    const int ML = *ml;
    const int MU = *mu;
    const int MXORD = *mxord;
    const double HMAX = *hmax;
    const int LENW = *lenw;
    const int LENIW = *leniw;
    const int NDE = *nde;
    const int MXSTEP = *mxstep;
    auto WORK = [work](int k) -> double & { return work[k - 1]; };
    auto IWORK = [iwork](int k) -> int & { return iwork[k - 1]; };
    auto Y = [y](int k) -> double & { return y[k - 1]; };

    double AE = 0.0;
    double RE = 0.0;
    double BIG = 0.0;
    double GLAST = 0.0;
    double H = 0.0;
    double HSIGN = 0.0;
    double SIZE = 0.0;
    double SUM = 0.0;
    double TLAST = 0.0;
    double TROOT = 0.0;
    double UROUND = 0.0;
    bool CONVRG = false;
    int LIWCHK = 0, MAXORD = 0, IDFDY = 0, IYWT = 0, ISAVE1 = 0, ISAVE2 = 0, IGNOW = 0, ITROOT = 0, IA = 0;
    int LENCHK = 0, MATDIM = 0, NDECOM = 0, NSTEPL = 0, JROOT = 0, IROOT = 0, JTROOT = 0, INFO = 0, I = 0;
    int IMXERR = 0, JSTATE = 0, JAML = 0;

    UROUND = D1MACH(4);
    if (NROOT != 0) {
        AE = D1MACH(1);
        RE = UROUND;
    }
    if (EPS < 0.0) {
        Record(1).text("DDRIV36FE Illegal input.  EPS,").d16(EPS).text(", is negative.");
        XERROR(60, 6, 2);
        return;
    }
    if (N <= 0) {
        Record(1).text("DDRIV37FE Illegal input.  Number of equations,").i(8, N).text(", is not positive.");
        XERROR(72, 7, 2);
        return;
    }
    if (MXORD <= 0) {
        Record(1).text("DDRIV314FE Illegal input.  Maximum order,").i(8, MXORD).text(", is not positive.");
        XERROR(67, 14, 2);
        return;
    }
    if ((MINT < 1 || MINT > 3) || (MINT == 3 && (MITER == 0 || MITER == 3 || IMPL != 0)) ||
        (MITER < 0 || MITER > 5) || (IMPL != 0 && IMPL != 1 && IMPL != 2) ||
        ((IMPL == 1 || IMPL == 2) && MITER == 0) || (IMPL == 2 && MINT == 1) || MITER == 3) {
        Record(1).text("DDRIV39FE Illegal input.  Improper value for ").text("MINT, MITER and/or IMPL.");
        XERROR(69, 9, 2);
        return;
    }
    if (MITER == 0 || MITER == 3) {
        LIWCHK = INDPVT - 1;
    } else if (MITER == 1 || MITER == 2 || MITER == 4 || MITER == 5) {
        LIWCHK = INDPVT + N - 1;
    }
    if (LENIW < LIWCHK) {
        Record(1)
            .text("DDRIV310FE Illegal input.  Insufficient ")
            .text("storage allocated for the IWORK array.  Based on the ");
        Record(94)
            .text("value of the input parameters involved, ")
            .text("the required storage is")
            .i(8, LIWCHK);
        XERROR(164, 10, 2);
        return;
    }
    if (MINT == 1 || MINT == 3) {
        MAXORD = std::min(MXORD, 12);
    } else if (MINT == 2) {
        MAXORD = std::min(MXORD, 5);
    }
    IDFDY = IYH + (MAXORD + 1) * N;
    if (MITER == 0 || MITER == 3) {
        IYWT = IDFDY;
    } else if (MITER == 1 || MITER == 2) {
        IYWT = IDFDY + N * N;
    } else if (MITER == 4 || MITER == 5) {
        IYWT = IDFDY + (2 * ML + MU + 1) * N;
    }
    ISAVE1 = IYWT + N;
    ISAVE2 = ISAVE1 + N;
    IGNOW = ISAVE2 + N;
    ITROOT = IGNOW + NROOT;
    IA = ITROOT + NROOT;
    if (IMPL == 0 || MITER == 3) {
        LENCHK = IA - 1;
    } else if (IMPL == 1 && (MITER == 1 || MITER == 2)) {
        LENCHK = IA - 1 + N * N;
    } else if (IMPL == 1 && (MITER == 4 || MITER == 5)) {
        LENCHK = IA - 1 + (2 * ML + MU + 1) * N;
    } else if (IMPL == 2 && MITER != 3) {
        LENCHK = IA - 1 + N;
    }
    if (LENW < LENCHK) {
        Record(1)
            .text("DDRIV38FE Illegal input.  Insufficient ")
            .text("storage allocated for the WORK array.  Based on the ");
        Record(92)
            .text("value of the input parameters involved, ")
            .text("the required storage is")
            .i(8, LENCHK);
        XERROR(162, 8, 2);
        return;
    }
    if (MITER == 0 || MITER == 3) {
        MATDIM = 1;
    } else if (MITER == 1 || MITER == 2) {
        MATDIM = N;
    } else if (MITER == 4 || MITER == 5) {
        MATDIM = 2 * ML + MU + 1;
    }
    if (IMPL == 0 || IMPL == 1) {
        NDECOM = N;
    } else if (IMPL == 2) {
        NDECOM = NDE;
    }
    if (NSTATE == 1) {
        if (T == TOUT) {
            return;
        }
        if (MINT == 1 || MINT == 3) {
            IWORK(IMXORD) = std::min(MXORD, 12);
        } else if (MINT == 2) {
            IWORK(IMXORD) = std::min(MXORD, 5);
        }
        IWORK(IMXRDS) = MXORD;
        if (MINT == 1 || MINT == 2) {
            IWORK(IMNT) = MINT;
            IWORK(IMTR) = MITER;
            IWORK(IMNTLD) = MINT;
            IWORK(IMTRLD) = MITER;
        } else if (MINT == 3) {
            IWORK(IMNT) = 1;
            IWORK(IMTR) = 0;
            IWORK(IMNTLD) = IWORK(IMNT);
            IWORK(IMTRLD) = IWORK(IMTR);
            IWORK(IMTRSV) = MITER;
        }
        WORK(IHMAX) = HMAX;
        H = (TOUT - T) * (1.0 - 4.0 * UROUND);
        H = fsign(std::fmin(std::fabs(H), HMAX), H);
        WORK(IH) = H;
        HSIGN = fsign(1.0, H);
        WORK(IHSIGN) = HSIGN;
        IWORK(IJTASK) = 0;
        WORK(IAVGH) = 0.0;
        WORK(IAVGRD) = 0.0;
        IWORK(INQUSD) = 0;
        IWORK(INSTEP) = 0;
        IWORK(INFE) = 0;
        IWORK(INJE) = 0;
        WORK(IT) = T;
        IWORK(ICNVRG) = 0;
        IWORK(INDPRT) = 0;
        for (I = 1; I <= N; ++I) {
            WORK(I + IYH - 1) = Y(I);
        }
        goto L180;
    }
    CONVRG = IWORK(ICNVRG) == 1;
    T = WORK(IT);
    H = WORK(IH);
    HSIGN = WORK(IHSIGN);
    if (IWORK(IJTASK) == 0) {
        goto L180;
    }
    if (NROOT != 0) {
        JROOT = IWORK(IJROOT);
        if (JROOT > 0) {
            if (NSTATE != 5) {
                if (TOUT * HSIGN >= WORK(ITOUT) * HSIGN) {
                    TROOT = WORK(ITOUT);
                    DDNTP(H, 0, N, IWORK(INQ), T, TROOT, &WORK(IYH), y);
                    T = TROOT;
                    NSTATE = 5;
                    goto L580;
                }
            } else {
                TROOT = T;
                IROOT = 0;
                for (I = 1; I <= IWORK(INRTLD); ++I) {
                    JTROOT = IWORK(INDTRT) + I - 1;
                    if (WORK(JTROOT) * HSIGN <= TROOT * HSIGN) {
                        if (WORK(JTROOT) == WORK(ITOUT) && I > IWORK(INROOT)) {
                            IROOT = I;
                            TROOT = WORK(JTROOT);
                            break;
                        }
                        if (WORK(JTROOT) * HSIGN > WORK(ITOUT) * HSIGN) {
                            IROOT = I;
                            TROOT = WORK(JTROOT);
                        }
                    }
                }
                IWORK(INROOT) = IROOT;
                WORK(ITOUT) = TROOT;
                IWORK(IJROOT) = NTASK;
                if (NTASK == 1) {
                    if (IROOT == 0) {
                        IWORK(IJROOT) = 0;
                    } else {
                        if (TOUT * HSIGN >= TROOT * HSIGN) {
                            DDNTP(H, 0, N, IWORK(INQ), T, TROOT, &WORK(IYH), y);
                            NSTATE = 5;
                            T = TROOT;
                            goto L580;
                        }
                    }
                } else if (NTASK == 2 || NTASK == 3) {
                    if (IROOT == 0 || (TOUT * HSIGN < TROOT * HSIGN)) {
                        IWORK(IJROOT) = 0;
                    } else {
                        DDNTP(H, 0, N, IWORK(INQ), T, TROOT, &WORK(IYH), y);
                        NSTATE = 5;
                        T = TROOT;
                        goto L580;
                    }
                }
            }
        }
    }
    if (NTASK == 1) {
        NSTATE = 2;
        if (T * HSIGN >= TOUT * HSIGN) {
            DDNTP(H, 0, N, IWORK(INQ), T, TOUT, &WORK(IYH), y);
            T = TOUT;
            goto L580;
        }
    } else if (NTASK == 2) {
        if (T * HSIGN > TOUT * HSIGN) {
            Record(1)
                .text("DDRIV32WRN With NTASK=")
                .i(1, NTASK)
                .text(" on input, ")
                .text("T,")
                .d16(T)
                .text(", was beyond TOUT,")
                .d16(TOUT)
                .text(".  Solution")
                .text(" obtained by interpolation.");
            XERROR(124, 2, 0);
            DDNTP(H, 0, N, IWORK(INQ), T, TOUT, &WORK(IYH), y);
            T = TOUT;
            NSTATE = 2;
            goto L580;
        }
        if (std::fabs(TOUT - T) <= NROUND * UROUND * std::fmax(std::fabs(T), std::fabs(TOUT))) {
            T = TOUT;
            NSTATE = 2;
            goto L560;
        }
        if (NSTATE == 5) {
            NSTATE = 2;
            goto L560;
        }
        NSTATE = 2;
        if ((T + H) * HSIGN > TOUT * HSIGN) {
            H = TOUT - T;
            if ((T + H) * HSIGN > TOUT * HSIGN) {
                H = H * (1.0 - 4.0 * UROUND);
            }
            WORK(IH) = H;
            if (H == 0.0) {
                goto L670;
            }
            IWORK(IJTASK) = -1;
        }
    } else if (NTASK == 3) {
        NSTATE = 2;
        if (T * HSIGN > TOUT * HSIGN) {
            Record(1)
                .text("DDRIV32WRN With NTASK=")
                .i(1, NTASK)
                .text(" on input, ")
                .text("T,")
                .d16(T)
                .text(", was beyond TOUT,")
                .d16(TOUT)
                .text(".  Solution")
                .text(" obtained by interpolation.");
            XERROR(124, 2, 0);
            DDNTP(H, 0, N, IWORK(INQ), T, TOUT, &WORK(IYH), y);
            T = TOUT;
            goto L580;
        }
        if (std::fabs(TOUT - T) <= NROUND * UROUND * std::fmax(std::fabs(T), std::fabs(TOUT))) {
            T = TOUT;
            goto L560;
        }
        if ((T + H) * HSIGN > TOUT * HSIGN) {
            H = TOUT - T;
            if ((T + H) * HSIGN > TOUT * HSIGN) {
                H = H * (1.0 - 4.0 * UROUND);
            }
            WORK(IH) = H;
            if (H == 0.0) {
                goto L670;
            }
            IWORK(IJTASK) = -1;
        }
    }
    if ((MINT != IWORK(IMNTLD) || MITER != IWORK(IMTRLD)) && MINT != 3 && IWORK(IMNTLD) != 3) {
        IWORK(IJTASK) = -1;
    }
    if (HMAX != WORK(IHMAX)) {
        H = fsign(std::fmin(std::fabs(H), HMAX), H);
        if (H != WORK(IH)) {
            IWORK(IJTASK) = -1;
            WORK(IH) = H;
        }
        WORK(IHMAX) = HMAX;
    }
L180:
    NSTEPL = IWORK(INSTEP);
    for (I = 1; I <= N; ++I) {
        Y(I) = WORK(IYH + I - 1);
    }
    if (NROOT != 0) {
        for (I = 1; I <= NROOT; ++I) {
            int iroot = I;
            WORK(IGNOW + I - 1) = g(&N, &T, y, &iroot);
        }
    }
    if (IERROR == 1) {
        for (I = 1; I <= N; ++I) {
            WORK(I + IYWT - 1) = 1.0;
        }
        goto L410;
    } else if (IERROR == 5) {
        for (I = 1; I <= N; ++I) {
            WORK(I + IYWT - 1) = ewt[I - 1];
        }
        goto L410;
    }
L260:
    if (IERROR == 2) {
        for (I = 1; I <= N; ++I) {
            if (Y(I) == 0.0) {
                goto L290;
            }
            WORK(I + IYWT - 1) = std::fabs(Y(I));
        }
        goto L410;
    L290:
        if (IWORK(IJTASK) == 0) {
            f(&N, &T, y, &WORK(ISAVE2));
            IWORK(INFE) = IWORK(INFE) + 1;
            if (IMPL == 1) {
                if (MITER == 1 || MITER == 2) {
                    fa(&N, &T, y, &WORK(IA), &MATDIM, ml, mu, &NDECOM);
                    ddriv::DGEFA(&WORK(IA), MATDIM, N, &IWORK(INDPVT), INFO);
                    if (INFO != 0) {
                        goto L690;
                    }
                    ddriv::DGESL(&WORK(IA), MATDIM, N, &IWORK(INDPVT), &WORK(ISAVE2), 0);
                } else if (MITER == 4 || MITER == 5) {
                    JAML = IA + ML;
                    fa(&N, &T, y, &WORK(JAML), &MATDIM, ml, mu, &NDECOM);
                    ddriv::DGBFA(&WORK(IA), MATDIM, N, ML, MU, &IWORK(INDPVT), INFO);
                    if (INFO != 0) {
                        goto L690;
                    }
                    ddriv::DGBSL(&WORK(IA), MATDIM, N, ML, MU, &IWORK(INDPVT), &WORK(ISAVE2), 0);
                }
            } else if (IMPL == 2) {
                fa(&N, &T, y, &WORK(IA), &MATDIM, ml, mu, &NDECOM);
                for (int K = 1; K <= NDECOM; ++K) {
                    const int JA = K + IA - 1;
                    const int JSAVE2 = K + ISAVE2 - 1;
                    if (WORK(JA) == 0.0) {
                        goto L690;
                    }
                    WORK(JSAVE2) = WORK(JSAVE2) / WORK(JA);
                }
            }
        }
        for (int J = I; J <= N; ++J) {
            const int JYWT = J + IYWT - 1;
            if (Y(J) != 0.0) {
                WORK(JYWT) = std::fabs(Y(J));
            } else {
                if (IWORK(IJTASK) == 0) {
                    WORK(JYWT) = std::fabs(H * WORK(J + ISAVE2 - 1));
                } else {
                    WORK(JYWT) = std::fabs(WORK(J + IYH + N - 1));
                }
            }
            if (WORK(JYWT) == 0.0) {
                WORK(JYWT) = UROUND;
            }
        }
    } else if (IERROR == 3) {
        for (I = 1; I <= N; ++I) {
            WORK(I + IYWT - 1) = std::fmax(ewt[0], std::fabs(Y(I)));
        }
    } else if (IERROR == 4) {
        for (I = 1; I <= N; ++I) {
            WORK(I + IYWT - 1) = std::fmax(ewt[I - 1], std::fabs(Y(I)));
        }
    }
L410:
    for (I = 1; I <= N; ++I) {
        WORK(I + ISAVE2 - 1) = Y(I) / WORK(I + IYWT - 1);
    }
    SUM = ddriv::DNRM2(N, &WORK(ISAVE2), 1) / std::sqrt(static_cast<double>(N));
    if (EPS < SUM * UROUND) {
        EPS = SUM * UROUND * (1.0 + 10.0 * UROUND);
        Record(1)
            .text("DDRIV34REC At T,")
            .d16(T)
            .text(", the requested ")
            .text("accuracy, EPS, was not obtainable with the machine ")
            .text("precision.  EPS has been increased to");
        Record(137).d16(EPS);
        XERROR(152, 4, 1);
        NSTATE = 4;
        goto L560;
    }
    if (std::fabs(H) >= UROUND * std::fabs(T)) {
        IWORK(INDPRT) = 0;
    } else if (IWORK(INDPRT) == 0) {
        Record(1)
            .text("DDRIV35WRN At T,")
            .d16(T)
            .text(", the step size,")
            .d16(H)
            .text(", is smaller than the roundoff level of T.  ");
        Record(109)
            .text("This may occur if there is an abrupt ")
            .text("change in the right hand side of the differential ")
            .text("equations.");
        XERROR(205, 5, 0);
        IWORK(INDPRT) = 1;
    }
    if (NTASK != 2) {
        if ((IWORK(INSTEP) - NSTEPL) > MXSTEP) {
            Record(1)
                .text("DDRIV33WRN At T,")
                .d16(T)
                .text(", ")
                .i(8, MXSTEP)
                .text(" steps have been taken without reaching TOUT,")
                .d16(TOUT);
            XERROR(103, 3, 0);
            NSTATE = 3;
            goto L560;
        }
    }
    ddriv::DDSTP(EPS, f, fa, WORK(IHMAX), IMPL, jacobn, MATDIM, IWORK(IMXORD), IWORK(IMNT), IWORK(IMTR), ML,
                 MU, N, NDECOM, &WORK(IYWT), UROUND, WORK(IAVGH), WORK(IAVGRD), WORK(IH), WORK(IHUSED),
                 IWORK(IJTASK), IWORK(IMNTLD), IWORK(IMTRLD), IWORK(INFE), IWORK(INJE), IWORK(INQUSD),
                 IWORK(INSTEP), WORK(IT), y, &WORK(IYH), &WORK(IA), CONVRG, &WORK(IDFDY), &WORK(IEL),
                 WORK(IHOLD), &IWORK(INDPVT), JSTATE, IWORK(INQ), IWORK(INWAIT), WORK(IRC), WORK(IRMAX),
                 &WORK(ISAVE1), &WORK(ISAVE2), &WORK(ITQ), WORK(ITREND), MINT, IWORK(IMTRSV), IWORK(IMXRDS));
    T = WORK(IT);
    H = WORK(IH);
    switch (JSTATE) {
    case 1:
        break;
    case 2:
        goto L670;
    case 3:
        goto L680;
    case 4:
        goto L690;
    default:
        break;
    }
    IWORK(IJTASK) = 1;
    if (std::fabs(H) >= UROUND * std::fabs(T) && NROOT != 0) {
        IROOT = 0;
        for (I = 1; I <= NROOT; ++I) {
            JTROOT = ITROOT + I - 1;
            const int JGNOW = IGNOW + I - 1;
            GLAST = WORK(JGNOW);
            int iroot = I;
            WORK(JGNOW) = g(&N, &T, y, &iroot);
            if (GLAST * WORK(JGNOW) > 0.0) {
                WORK(JTROOT) = T + H;
            } else {
                if (WORK(JGNOW) == 0.0) {
                    WORK(JTROOT) = T;
                    IROOT = I;
                } else {
                    if (GLAST == 0.0) {
                        WORK(JTROOT) = T + H;
                    } else {
                        TLAST = T - WORK(IHUSED);
                        IROOT = I;
                        TROOT = T;
                        ddriv::DDZRO(AE, g, H, N, IWORK(INQ), IROOT, RE, T, &WORK(IYH), UROUND, TROOT, TLAST,
                                     WORK(JGNOW), GLAST, &WORK(ISAVE1));
                        WORK(JTROOT) = TROOT;
                    }
                }
            }
        }
        if (IROOT == 0) {
            IWORK(IJROOT) = 0;
        } else {
            IWORK(IJROOT) = NTASK;
            IWORK(INRTLD) = NROOT;
            IWORK(INDTRT) = ITROOT;
            TROOT = T + H;
            for (I = 1; I <= NROOT; ++I) {
                JTROOT = ITROOT + I - 1;
                if (WORK(JTROOT) * HSIGN < TROOT * HSIGN) {
                    TROOT = WORK(JTROOT);
                    IROOT = I;
                }
            }
            IWORK(INROOT) = IROOT;
            WORK(ITOUT) = TROOT;
            if (TROOT * HSIGN <= TOUT * HSIGN) {
                DDNTP(H, 0, N, IWORK(INQ), T, TROOT, &WORK(IYH), y);
                NSTATE = 5;
                T = TROOT;
                goto L580;
            }
        }
    }
    NSTATE = 2;
    if (NTASK == 1) {
        if (T * HSIGN < TOUT * HSIGN) {
            goto L260;
        }
        DDNTP(H, 0, N, IWORK(INQ), T, TOUT, &WORK(IYH), y);
        T = TOUT;
        goto L580;
    } else if (NTASK == 2) {
        if (std::fabs(TOUT - T) <= NROUND * UROUND * std::fmax(std::fabs(T), std::fabs(TOUT))) {
            T = TOUT;
        } else {
            if ((T + H) * HSIGN > TOUT * HSIGN) {
                H = TOUT - T;
                if ((T + H) * HSIGN > TOUT * HSIGN) {
                    H = H * (1.0 - 4.0 * UROUND);
                }
                WORK(IH) = H;
                if (H == 0.0) {
                    goto L670;
                }
                IWORK(IJTASK) = -1;
            }
        }
    } else if (NTASK == 3) {
        if (std::fabs(TOUT - T) <= NROUND * UROUND * std::fmax(std::fabs(T), std::fabs(TOUT))) {
            T = TOUT;
        } else {
            if ((T + H) * HSIGN > TOUT * HSIGN) {
                H = TOUT - T;
                if ((T + H) * HSIGN > TOUT * HSIGN) {
                    H = H * (1.0 - 4.0 * UROUND);
                }
                WORK(IH) = H;
                if (H == 0.0) {
                    goto L670;
                }
                IWORK(IJTASK) = -1;
            }
            goto L260;
        }
    }
L560:
    for (I = 1; I <= N; ++I) {
        Y(I) = WORK(I + IYH - 1);
    }
L580:
    IWORK(ICNVRG) = CONVRG ? 1 : 0;
    if (IWORK(IJTASK) == 0) {
        return;
    }
    BIG = 0.0;
    IMXERR = 1;
    IWORK(INDMXR) = IMXERR;
    for (I = 1; I <= N; ++I) {
        SIZE = std::fabs(WORK(I + ISAVE1 - 1) / WORK(I + IYWT - 1));
        if (BIG < SIZE) {
            BIG = SIZE;
            IMXERR = I;
            IWORK(INDMXR) = IMXERR;
        }
    }
    return;
L670:
    Record(1)
        .text("DDRIV311FE At T,")
        .d16(T)
        .text(", the attempted ")
        .text("step size has gone to zero.  Often this occurs if the ")
        .text("problem setup is incorrect.");
    XERROR(129, 11, 2);
    return;
L680:
    Record(1)
        .text("DDRIV312FE At T,")
        .d16(T)
        .text(", the step size has")
        .text(" been reduced about 50 times without advancing the ");
    Record(103).text("solution.  Often this occurs if the ").text("problem setup is incorrect.");
    XERROR(165, 12, 2);
    return;
L690:
    Record(1).text("DDRIV313FE At T,").d16(T).text(", while solving").text(" A*YDOT = F, A is singular.");
    XERROR(74, 13, 2);
}

} // namespace ostreljet
