// The step routines of the DDRIV3 port: formula coefficients, history rescaling and interpolation, the
// zero finder, the corrector, the iteration matrix, the start of an integration and the step itself.
// Each routine follows the published one operation for operation; labels keep the published numbers.

#include <algorithm>
#include <cmath>

#include "DDRIV3Internal.hpp"

namespace ostreljet::ddriv {

void DDCST(int MAXORD, int MINT, int ISWFLG, double *ELp, double *TQp) {
    const Mat EL{ELp, 13};
    const Mat TQ{TQp, 3};
    double FACTRL[12];
    double GAMMA[14];
    double SUM = 0.0;
    auto factrl = [&FACTRL](int i) -> double & { return FACTRL[i - 1]; };
    auto gamma = [&GAMMA](int i) -> double & { return GAMMA[i - 1]; };
    factrl(1) = 1.0;
    for (int I = 2; I <= MAXORD; ++I) {
        factrl(I) = static_cast<double>(I) * factrl(I - 1);
    }
    if (MINT == 1) {
        gamma(1) = 1.0;
        for (int I = 1; I <= MAXORD + 1; ++I) {
            SUM = 0.0;
            for (int J = 1; J <= I; ++J) {
                SUM = SUM - gamma(J) / static_cast<double>(I - J + 2);
            }
            gamma(I + 1) = SUM;
        }
        EL(1, 1) = 1.0;
        EL(2, 1) = 1.0;
        EL(2, 2) = 1.0;
        EL(3, 2) = 1.0;
        for (int J = 3; J <= MAXORD; ++J) {
            EL(2, J) = factrl(J - 1);
            for (int I = 3; I <= J; ++I) {
                EL(I, J) = static_cast<double>(J - 1) * EL(I, J - 1) + EL(I - 1, J - 1);
            }
            EL(J + 1, J) = 1.0;
        }
        for (int J = 2; J <= MAXORD; ++J) {
            EL(1, J) = EL(1, J - 1) + gamma(J);
            EL(2, J) = 1.0;
            for (int I = 3; I <= J + 1; ++I) {
                EL(I, J) = EL(I, J) / (static_cast<double>(I - 1) * factrl(J - 1));
            }
        }
        for (int J = 1; J <= MAXORD; ++J) {
            TQ(1, J) = -1.0 / (factrl(J) * gamma(J));
            TQ(2, J) = -1.0 / gamma(J + 1);
            TQ(3, J) = -1.0 / gamma(J + 2);
        }
    } else if (MINT == 2) {
        EL(1, 1) = 1.0;
        EL(2, 1) = 1.0;
        if (MAXORD >= 2) {
            for (int J = 2; J <= MAXORD; ++J) {
                EL(1, J) = factrl(J);
                for (int I = 2; I <= J; ++I) {
                    EL(I, J) = static_cast<double>(J) * EL(I, J - 1) + EL(I - 1, J - 1);
                }
                EL(J + 1, J) = 1.0;
            }
            SUM = 1.0;
            for (int J = 2; J <= MAXORD; ++J) {
                SUM = SUM + 1.0 / static_cast<double>(J);
                for (int I = 1; I <= J + 1; ++I) {
                    EL(I, J) = EL(I, J) / (factrl(J) * SUM);
                }
            }
        }
        for (int J = 1; J <= MAXORD; ++J) {
            if (J > 1) {
                TQ(1, J) = 1.0 / factrl(J - 1);
            }
            TQ(2, J) = static_cast<double>(J + 1) / EL(1, J);
            TQ(3, J) = static_cast<double>(J + 2) / EL(1, J);
        }
    }
    if (ISWFLG == 3) {
        const int MXRD = MAXORD < 5 ? MAXORD : 5;
        if (MINT == 2) {
            gamma(1) = 1.0;
            for (int I = 1; I <= MXRD; ++I) {
                SUM = 0.0;
                for (int J = 1; J <= I; ++J) {
                    SUM = SUM - gamma(J) / static_cast<double>(I - J + 2);
                }
                gamma(I + 1) = SUM;
            }
        }
        if (MXRD >= 2) {
            SUM = 1.0;
            for (int I = 2; I <= MXRD; ++I) {
                SUM = SUM + 1.0 / static_cast<double>(I);
                EL(1 + I, 1) = -static_cast<double>(I + 1) * SUM * gamma(I + 1);
            }
        }
    }
}

void DDSCL(double HMAX, int N, int NQ, double RMAX, double &H, double &RC, double &RH, double *YHp) {
    const Mat YH{YHp, N};
    if (H < 1.0) {
        RH = std::fmin(std::fmin(std::fabs(H) * RH, std::fabs(H) * RMAX), HMAX) / std::fabs(H);
    } else {
        RH = std::fmin(std::fmin(RH, RMAX), HMAX / std::fabs(H));
    }
    double R1 = 1.0;
    for (int J = 1; J <= NQ; ++J) {
        R1 = R1 * RH;
        for (int I = 1; I <= N; ++I) {
            YH(I, J + 1) = YH(I, J + 1) * R1;
        }
    }
    H = H * RH;
    RC = RC * RH;
}

void DDPSC(int KSGN, int N, int NQ, double *YHp) {
    const Mat YH{YHp, N};
    if (KSGN > 0) {
        for (int J1 = 1; J1 <= NQ; ++J1) {
            for (int J2 = J1; J2 <= NQ; ++J2) {
                const int J = NQ - J2 + J1;
                for (int I = 1; I <= N; ++I) {
                    YH(I, J) = YH(I, J) + YH(I, J + 1);
                }
            }
        }
    } else {
        for (int J1 = 1; J1 <= NQ; ++J1) {
            for (int J2 = J1; J2 <= NQ; ++J2) {
                const int J = NQ - J2 + J1;
                for (int I = 1; I <= N; ++I) {
                    YH(I, J) = YH(I, J) - YH(I, J + 1);
                }
            }
        }
    }
}

void DDNTP(double H, int K, int N, int NQ, double T, double TOUT, double *YHp, double *Yp) {
    const Mat YH{YHp, N};
    const Vec Y{Yp};
    const int KUSED = K < NQ ? K : NQ;
    if (KUSED == 0) {
        for (int I = 1; I <= N; ++I) {
            Y(I) = YH(I, NQ + 1);
        }
        const double R = ((TOUT - T) / H);
        for (int JJ = 1; JJ <= NQ; ++JJ) {
            const int J = NQ + 1 - JJ;
            for (int I = 1; I <= N; ++I) {
                Y(I) = YH(I, J) + R * Y(I);
            }
        }
    } else {
        double FACTOR = 1.0;
        for (int KK = 1; KK <= KUSED; ++KK) {
            FACTOR = FACTOR * static_cast<double>(NQ + 1 - KK);
        }
        for (int I = 1; I <= N; ++I) {
            Y(I) = FACTOR * YH(I, NQ + 1);
        }
        if (KUSED != NQ) {
            const double R = ((TOUT - T) / H);
            for (int JJ = KUSED + 1; JJ <= NQ; ++JJ) {
                const int J = K + 1 + NQ - JJ;
                FACTOR = 1.0;
                for (int KK = 1; KK <= KUSED; ++KK) {
                    FACTOR = FACTOR * static_cast<double>(J - KK);
                }
                for (int I = 1; I <= N; ++I) {
                    Y(I) = FACTOR * YH(I, J) + R * Y(I);
                }
            }
        }
        for (int I = 1; I <= N; ++I) {
            Y(I) = Y(I) * powi(H, -KUSED);
        }
    }
}

void DDZRO(double AE, RootFn F, double H, int N, int NQ, int IROOT, double RE, double T, double *YH,
           double UROUND, double &B, double &C, double &FB, double &FC, double *Y) {
    const double ER = 4.0 * UROUND;
    const double RW = std::fmax(RE, ER);
    int IC = 0;
    double ACBS = std::fabs(B - C);
    double A = C;
    double FA = FC;
    int KOUNT = 0;
    double CMB = 0.0;
    double ACMB = 0.0;
    double TOL = 0.0;
    double P = 0.0;
    double Q = 0.0;
    int n = N;
    int iroot = IROOT;
    for (;;) {
        if (std::fabs(FC) < std::fabs(FB)) {
            A = B;
            FA = FB;
            B = C;
            FB = FC;
            C = A;
            FC = FA;
        }
        CMB = 0.5 * (C - B);
        ACMB = std::fabs(CMB);
        TOL = RW * std::fabs(B) + AE;
        if (ACMB <= TOL) {
            return;
        }
        if (KOUNT > 50) {
            return;
        }
        P = (B - A) * FB;
        Q = FA - FB;
        if (P < 0.0) {
            P = -P;
            Q = -Q;
        }
        A = B;
        FA = FB;
        IC = IC + 1;
        bool bisected = false;
        if (IC >= 4) {
            if (8.0 * ACMB >= ACBS) {
                B = 0.5 * (C + B);
                bisected = true;
            } else {
                IC = 0;
            }
        }
        if (!bisected) {
            ACBS = ACMB;
            if (P <= std::fabs(Q) * TOL) {
                B = B + fsign(TOL, CMB);
            } else if (P < CMB * Q) {
                B = B + P / Q;
            } else {
                B = 0.5 * (C + B);
            }
        }
        DDNTP(H, 0, N, NQ, T, B, YH, Y);
        FB = F(&n, &B, Y, &iroot);
        if (FB == 0.0) {
            return;
        }
        KOUNT = KOUNT + 1;
        if (fsign(1.0, FB) == fsign(1.0, FC)) {
            C = A;
            FC = FA;
        }
    }
}

void DDCOR(double *DFDYp, double *ELp, MassMatrixFn FA, double H, int IMPL, int *IPVT, int MATDIM, int MITER,
           int ML, int MU, int N, int NDE, int NQ, double T, double *Yp, double *YHp, double *YWTp,
           bool &EVALFA, double *SAVE1p, double *SAVE2p, double *Ap, double &D) {
    (void)ELp;
    (void)NQ;
    const Mat YH{YHp, N};
    const Mat A{Ap, MATDIM};
    const Vec YWT{YWTp};
    const Vec SAVE1{SAVE1p};
    const Vec SAVE2{SAVE2p};
    int n = N;
    double t = T;
    int matdim = MATDIM;
    int ml = ML;
    int mu = MU;
    int nde = NDE;
    if (MITER == 0) {
        for (int I = 1; I <= N; ++I) {
            SAVE1(I) = (H * SAVE2(I) - YH(I, 2) - SAVE1(I)) / YWT(I);
        }
        D = DNRM2(N, SAVE1p, 1) / std::sqrt(static_cast<double>(N));
        for (int I = 1; I <= N; ++I) {
            SAVE1(I) = H * SAVE2(I) - YH(I, 2);
        }
    } else if (MITER == 1 || MITER == 2) {
        if (IMPL == 0) {
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I) - YH(I, 2) - SAVE1(I);
            }
        } else if (IMPL == 1) {
            if (EVALFA) {
                FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            } else {
                EVALFA = true;
            }
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I);
            }
            for (int J = 1; J <= N; ++J) {
                for (int I = 1; I <= N; ++I) {
                    SAVE2(I) = SAVE2(I) - A(I, J) * (YH(J, 2) + SAVE1(J));
                }
            }
        } else if (IMPL == 2) {
            if (EVALFA) {
                FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            } else {
                EVALFA = true;
            }
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I) - A(I, 1) * (YH(I, 2) + SAVE1(I));
            }
        }
        DGESL(DFDYp, MATDIM, N, IPVT, SAVE2p, 0);
        for (int I = 1; I <= N; ++I) {
            SAVE1(I) = SAVE1(I) + SAVE2(I);
            SAVE2(I) = SAVE2(I) / YWT(I);
        }
        D = DNRM2(N, SAVE2p, 1) / std::sqrt(static_cast<double>(N));
    } else if (MITER == 4 || MITER == 5) {
        if (IMPL == 0) {
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I) - YH(I, 2) - SAVE1(I);
            }
        } else if (IMPL == 1) {
            if (EVALFA) {
                FA(&n, &t, Yp, A.at(ML + 1, 1), &matdim, &ml, &mu, &nde);
            } else {
                EVALFA = true;
            }
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I);
            }
            const int MW = ML + 1 + MU;
            for (int J = 1; J <= N; ++J) {
                const int I1 = std::max(ML + 1, MW + 1 - J);
                const int I2 = std::min(MW + N - J, MW + ML);
                for (int I = I1; I <= I2; ++I) {
                    const int I3 = I + J - MW;
                    SAVE2(I3) = SAVE2(I3) - A(I, J) * (YH(J, 2) + SAVE1(J));
                }
            }
        } else if (IMPL == 2) {
            if (EVALFA) {
                FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            } else {
                EVALFA = true;
            }
            for (int I = 1; I <= N; ++I) {
                SAVE2(I) = H * SAVE2(I) - A(I, 1) * (YH(I, 2) + SAVE1(I));
            }
        }
        DGBSL(DFDYp, MATDIM, N, ML, MU, IPVT, SAVE2p, 0);
        for (int I = 1; I <= N; ++I) {
            SAVE1(I) = SAVE1(I) + SAVE2(I);
            SAVE2(I) = SAVE2(I) / YWT(I);
        }
        D = DNRM2(N, SAVE2p, 1) / std::sqrt(static_cast<double>(N));
    }
}

void DDPST(double *ELp, DerivativeFn F, MassMatrixFn FA, double H, int IMPL, JacobianFn JACOBN, int MATDIM,
           int MITER, int ML, int MU, int N, int NDE, int NQ, double *SAVE2p, double T, double *Yp,
           double *YHp, double *YWTp, double UROUND, int &NFE, int &NJE, double *Ap, double *DFDYp, bool &IER,
           int *IPVT, double *SAVE1p, int ISWFLG, double &BND) {
    (void)YHp;
    constexpr double ETATST = 0.5;
    constexpr int ITERMX = 3;
    const Mat EL{ELp, 13};
    const Mat A{Ap, MATDIM};
    const Mat DFDY{DFDYp, MATDIM};
    const Vec Y{Yp};
    const Vec YWT{YWTp};
    const Vec SAVE1{SAVE1p};
    const Vec SAVE2{SAVE2p};
    int n = N;
    double t = T;
    int matdim = MATDIM;
    int ml = ML;
    int mu = MU;
    int nde = NDE;
    int INFO = 0;
    int MW = 0;
    NJE = NJE + 1;
    IER = false;
    if (MITER == 1 || MITER == 2) {
        if (MITER == 1) {
            JACOBN(&n, &t, Yp, DFDYp, &matdim, &ml, &mu);
            if (ISWFLG == 3) {
                BND = DNRM2(N * N, DFDYp, 1);
            }
            const double FACTOR = -EL(1, NQ) * H;
            for (int J = 1; J <= N; ++J) {
                for (int I = 1; I <= N; ++I) {
                    DFDY(I, J) = FACTOR * DFDY(I, J);
                }
            }
        } else if (MITER == 2) {
            const double EPSJ = std::pow(UROUND, 1.0 / 3.0);
            for (int J = 1; J <= N; ++J) {
                double DY = EPSJ * std::fmax(std::fabs(YWT(J)), std::fabs(Y(J)));
                if (DY == 0.0) {
                    DY = EPSJ;
                }
                int ITER = 0;
            L120:
                const double YJ = Y(J);
                Y(J) = Y(J) + DY;
                F(&n, &t, Yp, SAVE1p);
                Y(J) = YJ;
                NFE = NFE + 1;
                ITER = ITER + 1;
                if (ITER < ITERMX) {
                    for (int I = 1; I <= N; ++I) {
                        if (SAVE1(I) != SAVE2(I)) {
                            const double ETA =
                                std::fabs(SAVE2(I)) * UROUND /
                                (std::fabs(SAVE2(I) - SAVE1(I)) + std::fabs(SAVE2(I)) * UROUND);
                            if (ETA >= ETATST) {
                                DY = DY * 10.0;
                                goto L120;
                            }
                        }
                    }
                }
                const double FACTOR = -EL(1, NQ) * H / DY;
                for (int I = 1; I <= N; ++I) {
                    DFDY(I, J) = (SAVE1(I) - SAVE2(I)) * FACTOR;
                }
            }
            if (ISWFLG == 3) {
                BND = DNRM2(N * N, DFDYp, 1) / (-EL(1, NQ) * H);
            }
        }
        if (IMPL == 0) {
            for (int I = 1; I <= N; ++I) {
                DFDY(I, I) = DFDY(I, I) + 1.0;
            }
        } else if (IMPL == 1) {
            FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            for (int J = 1; J <= N; ++J) {
                for (int I = 1; I <= N; ++I) {
                    DFDY(I, J) = DFDY(I, J) + A(I, J);
                }
            }
        } else if (IMPL == 2) {
            FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            for (int I = 1; I <= NDE; ++I) {
                DFDY(I, I) = DFDY(I, I) + A(I, 1);
            }
        }
        DGEFA(DFDYp, MATDIM, N, IPVT, INFO);
        if (INFO != 0) {
            IER = true;
        }
    } else if (MITER == 4 || MITER == 5) {
        if (MITER == 4) {
            JACOBN(&n, &t, Yp, DFDY.at(ML + 1, 1), &matdim, &ml, &mu);
            const double FACTOR = -EL(1, NQ) * H;
            MW = ML + MU + 1;
            for (int J = 1; J <= N; ++J) {
                const int I1 = std::max(ML + 1, MW + 1 - J);
                const int I2 = std::min(MW + N - J, MW + ML);
                for (int I = I1; I <= I2; ++I) {
                    DFDY(I, J) = FACTOR * DFDY(I, J);
                }
            }
        } else if (MITER == 5) {
            const double EPSJ = std::pow(UROUND, 1.0 / 3.0);
            MW = ML + MU + 1;
            const int J2 = std::min(MW, N);
            for (int J = 1; J <= J2; ++J) {
                for (int K = J; K <= N; K += MW) {
                    double DY = EPSJ * std::fmax(std::fabs(YWT(K)), std::fabs(Y(K)));
                    if (DY == 0.0) {
                        DY = EPSJ;
                    }
                    DFDY(MW, K) = Y(K);
                    Y(K) = Y(K) + DY;
                }
                int ITER = 0;
                for (;;) {
                    F(&n, &t, Yp, SAVE1p);
                    NFE = NFE + 1;
                    ITER = ITER + 1;
                    if (ITER >= ITERMX) {
                        break;
                    }
                    bool LOOP = false;
                    for (int K = J; K <= N; K += MW) {
                        const int I1 = std::max(1, K - MU);
                        const int I2 = std::min(K + ML, N);
                        for (int I = I1; I <= I2; ++I) {
                            if (SAVE1(I) != SAVE2(I)) {
                                const double ETA =
                                    std::fabs(SAVE2(I)) * UROUND /
                                    (std::fabs(SAVE2(I) - SAVE1(I)) + std::fabs(SAVE2(I)) * UROUND);
                                if (ETA >= ETATST) {
                                    const double DY = (Y(K) - DFDY(MW, K)) * 10.0;
                                    Y(K) = DFDY(MW, K) + DY;
                                    LOOP = true;
                                    break;
                                }
                            }
                        }
                    }
                    if (!LOOP) {
                        break;
                    }
                }
                for (int K = J; K <= N; K += MW) {
                    const double DY = Y(K) - DFDY(MW, K);
                    Y(K) = DFDY(MW, K);
                    const double FACTOR = -EL(1, NQ) * H / DY;
                    const int I1 = std::max(ML + 1, MW + 1 - K);
                    const int I2 = std::min(MW + N - K, MW + ML);
                    for (int I = I1; I <= I2; ++I) {
                        const int I3 = K + I - MW;
                        DFDY(I, K) = FACTOR * (SAVE1(I3) - SAVE2(I3));
                    }
                }
            }
        }
        if (ISWFLG == 3) {
            double DFDYMX = 0.0;
            for (int J = 1; J <= N; ++J) {
                const int I1 = std::max(ML + 1, MW + 1 - J);
                const int I2 = std::min(MW + N - J, MW + ML);
                for (int I = I1; I <= I2; ++I) {
                    DFDYMX = std::fmax(DFDYMX, std::fabs(DFDY(I, J)));
                }
            }
            BND = 0.0;
            if (DFDYMX != 0.0) {
                for (int J = 1; J <= N; ++J) {
                    const int I1 = std::max(ML + 1, MW + 1 - J);
                    const int I2 = std::min(MW + N - J, MW + ML);
                    for (int I = I1; I <= I2; ++I) {
                        const double r = DFDY(I, J) / DFDYMX;
                        BND = BND + r * r;
                    }
                }
                BND = DFDYMX * std::sqrt(BND) / (-EL(1, NQ) * H);
            }
        }
        if (IMPL == 0) {
            for (int J = 1; J <= N; ++J) {
                DFDY(MW, J) = DFDY(MW, J) + 1.0;
            }
        } else if (IMPL == 1) {
            FA(&n, &t, Yp, A.at(ML + 1, 1), &matdim, &ml, &mu, &nde);
            for (int J = 1; J <= N; ++J) {
                const int I1 = std::max(ML + 1, MW + 1 - J);
                const int I2 = std::min(MW + N - J, MW + ML);
                for (int I = I1; I <= I2; ++I) {
                    DFDY(I, J) = DFDY(I, J) + A(I, J);
                }
            }
        } else if (IMPL == 2) {
            FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
            for (int J = 1; J <= NDE; ++J) {
                DFDY(MW, J) = DFDY(MW, J) + A(J, 1);
            }
        }
        DGBFA(DFDYp, MATDIM, N, ML, MU, IPVT, INFO);
        if (INFO != 0) {
            IER = true;
        }
    }
}

void DDNTL(double EPS, DerivativeFn F, MassMatrixFn FA, double HMAX, double HOLD, int IMPL, int JTASK,
           int MATDIM, int MAXORD, int MINT, int MITER, int ML, int MU, int N, int NDE, double *SAVE1p,
           double T, double *Yp, double *YWTp, double &H, int &MNTOLD, int &MTROLD, int &NFE, double &RC,
           double *YHp, double *Ap, bool &CONVRG, double *ELp, bool &IER, int *IPVT, int &NQ, int &NWAIT,
           double &RH, double &RMAX, double *SAVE2p, double *TQp, double &TREND, int ISWFLG) {
    constexpr double RMINIT = 10000.0;
    const Mat YH{YHp, N};
    const Mat A{Ap, MATDIM};
    const Mat EL{ELp, 13};
    const Vec YWT{YWTp};
    const Vec SAVE1{SAVE1p};
    const Vec SAVE2{SAVE2p};
    int n = N;
    double t = T;
    int matdim = MATDIM;
    int ml = ML;
    int mu = MU;
    int nde = NDE;
    int INFO = 0;
    IER = false;
    if (JTASK >= 0) {
        if (JTASK == 0) {
            DDCST(MAXORD, MINT, ISWFLG, ELp, TQp);
        }
        RC = 0.0;
        CONVRG = false;
        TREND = 1.0;
        RMAX = RMINIT;
        NQ = 1;
        NWAIT = 3;
        F(&n, &t, Yp, SAVE2p);
        NFE = NFE + 1;
        if (IMPL != 0) {
            if (IMPL == 1) {
                if (MITER == 1 || MITER == 2) {
                    FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
                    DGEFA(Ap, MATDIM, N, IPVT, INFO);
                    if (INFO != 0) {
                        IER = true;
                        return;
                    }
                    DGESL(Ap, MATDIM, N, IPVT, SAVE2p, 0);
                } else if (MITER == 4 || MITER == 5) {
                    FA(&n, &t, Yp, A.at(ML + 1, 1), &matdim, &ml, &mu, &nde);
                    DGBFA(Ap, MATDIM, N, ML, MU, IPVT, INFO);
                    if (INFO != 0) {
                        IER = true;
                        return;
                    }
                    DGBSL(Ap, MATDIM, N, ML, MU, IPVT, SAVE2p, 0);
                }
            } else if (IMPL == 2) {
                FA(&n, &t, Yp, Ap, &matdim, &ml, &mu, &nde);
                for (int I = 1; I <= NDE; ++I) {
                    if (A(I, 1) == 0.0) {
                        IER = true;
                        return;
                    }
                    SAVE2(I) = SAVE2(I) / A(I, 1);
                }
                for (int I = NDE + 1; I <= N; ++I) {
                    A(I, 1) = 0.0;
                }
            }
        }
        for (int I = 1; I <= NDE; ++I) {
            SAVE1(I) = SAVE2(I) / YWT(I);
        }
        double SUM = DNRM2(NDE, SAVE1p, 1);
        const double SUM0 = 1.0 / std::fmax(1.0, std::fabs(T));
        const double SMAX = std::fmax(SUM0, SUM);
        const double SMIN = std::fmin(SUM0, SUM);
        const double ratio = SMIN / SMAX;
        SUM = SMAX * std::sqrt(1.0 + ratio * ratio) / std::sqrt(static_cast<double>(NDE));
        H = fsign(std::fmin(2.0 * EPS / SUM, std::fabs(H)), H);
        for (int I = 1; I <= N; ++I) {
            YH(I, 2) = H * SAVE2(I);
        }
    } else {
        if (MITER != MTROLD) {
            MTROLD = MITER;
            RC = 0.0;
            CONVRG = false;
        }
        if (MINT != MNTOLD) {
            MNTOLD = MINT;
            const double OLDL0 = EL(1, NQ);
            DDCST(MAXORD, MINT, ISWFLG, ELp, TQp);
            RC = RC * EL(1, NQ) / OLDL0;
            NWAIT = NQ + 2;
        }
        if (H != HOLD) {
            NWAIT = NQ + 2;
            const double HNEW = H;
            RH = H / HOLD;
            H = HOLD;
            DDSCL(HMAX, N, NQ, RMAX, H, RC, RH, YHp);
            H = fsign(std::fmin(std::fabs(H), std::fabs(HNEW)), H);
        }
    }
}

void DDSTP(double EPS, DerivativeFn F, MassMatrixFn FA, double HMAX, int IMPL, JacobianFn JACOBN, int MATDIM,
           int &MAXORD, int &MINT, int &MITER, int ML, int MU, int N, int NDE, double *YWTp, double UROUND,
           double &AVGH, double &AVGORD, double &H, double &HUSED, int &JTASK, int &MNTOLD, int &MTROLD,
           int &NFE, int &NJE, int &NQUSED, int &NSTEP, double &T, double *Yp, double *YHp, double *Ap,
           bool &CONVRG, double *DFDYp, double *ELp, double &HOLD, int *IPVT, int &JSTATE, int &NQ,
           int &NWAIT, double &RC, double &RMAX, double *SAVE1p, double *SAVE2p, double *TQp, double &TREND,
           int ISWFLG, int MTRSV, int MXRDSV) {
    constexpr double BIAS1 = 1.3;
    constexpr double BIAS2 = 1.2;
    constexpr double BIAS3 = 1.4;
    constexpr int MXFAIL = 3;
    constexpr int MXITER = 3;
    constexpr int MXTRY = 50;
    constexpr double RCTEST = 0.3;
    constexpr double RMFAIL = 2.0;
    constexpr double RMNORM = 10.0;
    constexpr double TRSHLD = 1.0;
    const Mat YH{YHp, N};
    const Mat DFDY{DFDYp, MATDIM};
    const Mat EL{ELp, 13};
    const Mat TQ{TQp, 3};
    const Vec Y{Yp};
    const Vec YWT{YWTp};
    const Vec SAVE1{SAVE1p};
    const Vec SAVE2{SAVE2p};
    int n = N;
    double BND = 0.0;
    bool SWITCH = false;
    int NTRY = 0;
    const double TOLD = T;
    int NFAIL = 0;
    bool IER = false;
    bool EVALJC = false;
    bool EVALFA = false;
    int ITER = 0;
    double D = 0.0;
    double D1 = 0.0;
    double CTEST = 0.0;
    double NUMER = 0.0;
    double DENOM = 0.0;
    double Y0NRM = 0.0;
    double ETEST = 0.0;
    double ERDN = 0.0;
    double ERUP = 0.0;
    double RH = 0.0;
    double RH1 = 0.0;
    double RH2 = 0.0;
    double RH3 = 0.0;
    double HN = 0.0;
    double HS = 0.0;
    const double sqrtNDE = std::sqrt(static_cast<double>(NDE));
    if (JTASK <= 0) {
        DDNTL(EPS, F, FA, HMAX, HOLD, IMPL, JTASK, MATDIM, MAXORD, MINT, MITER, ML, MU, N, NDE, SAVE1p, T, Yp,
              YWTp, H, MNTOLD, MTROLD, NFE, RC, YHp, Ap, CONVRG, ELp, IER, IPVT, NQ, NWAIT, RH, RMAX, SAVE2p,
              TQp, TREND, ISWFLG);
        if (H == 0.0) {
            goto L400;
        }
        if (IER) {
            goto L420;
        }
    }
    IER = false;
L100:
    NTRY = NTRY + 1;
    if (NTRY > MXTRY) {
        goto L410;
    }
    T = T + H;
    DDPSC(1, N, NQ, YHp);
    EVALJC = ((std::fabs(RC - 1.0) > RCTEST) && (MITER != 0));
    EVALFA = !EVALJC;
L110:
    ITER = 0;
    for (int I = 1; I <= N; ++I) {
        Y(I) = YH(I, 1);
    }
    F(&n, &T, Yp, SAVE2p);
    NFE = NFE + 1;
    if (EVALJC || IER) {
        DDPST(ELp, F, FA, H, IMPL, JACOBN, MATDIM, MITER, ML, MU, N, NDE, NQ, SAVE2p, T, Yp, YHp, YWTp,
              UROUND, NFE, NJE, Ap, DFDYp, IER, IPVT, SAVE1p, ISWFLG, BND);
        if (IER) {
            goto L160;
        }
        CONVRG = false;
        RC = 1.0;
    }
    for (int I = 1; I <= N; ++I) {
        SAVE1(I) = 0.0;
    }
L130:
    DDCOR(DFDYp, ELp, FA, H, IMPL, IPVT, MATDIM, MITER, ML, MU, N, NDE, NQ, T, Yp, YHp, YWTp, EVALFA, SAVE1p,
          SAVE2p, Ap, D);
    if (ISWFLG == 3 && MINT == 1) {
        if (ITER == 0) {
            NUMER = DNRM2(N, SAVE1p, 1);
            for (int I = 1; I <= N; ++I) {
                DFDY(1, I) = SAVE1(I);
            }
            Y0NRM = DNRM2(N, YHp, 1);
        } else {
            DENOM = NUMER;
            for (int I = 1; I <= N; ++I) {
                DFDY(1, I) = SAVE1(I) - DFDY(1, I);
            }
            NUMER = DNRM2(N, DFDYp, MATDIM);
            if (EL(1, NQ) * NUMER <= 100.0 * UROUND * Y0NRM) {
                if (RMAX == RMFAIL) {
                    SWITCH = true;
                    goto L170;
                }
            }
            for (int I = 1; I <= N; ++I) {
                DFDY(1, I) = SAVE1(I);
            }
            if (DENOM != 0.0) {
                BND = std::fmax(BND, NUMER / (DENOM * std::fabs(H) * EL(1, NQ)));
            }
        }
    }
    if (ITER > 0) {
        TREND = std::fmax(0.9 * TREND, D / D1);
    }
    D1 = D;
    CTEST = std::fmin(2.0 * TREND, 1.0) * D;
    if (CTEST <= EPS) {
        goto L170;
    }
    ITER = ITER + 1;
    if (ITER < MXITER) {
        for (int I = 1; I <= N; ++I) {
            Y(I) = YH(I, 1) + EL(1, NQ) * SAVE1(I);
        }
        F(&n, &T, Yp, SAVE2p);
        NFE = NFE + 1;
        goto L130;
    }
    if (CONVRG) {
        EVALJC = true;
        EVALFA = false;
        goto L110;
    }
L160:
    T = TOLD;
    DDPSC(-1, N, NQ, YHp);
    NWAIT = NQ + 2;
    if (JTASK != 0 && JTASK != 2) {
        RMAX = RMFAIL;
    }
    if (ITER == 0) {
        RH = 0.3;
    } else {
        RH = 0.9 * std::pow(EPS / CTEST, 0.2);
    }
    if (RH * H == 0.0) {
        goto L400;
    }
    DDSCL(HMAX, N, NQ, RMAX, H, RC, RH, YHp);
    goto L100;
L170:
    CONVRG = (MITER != 0);
    for (int I = 1; I <= NDE; ++I) {
        SAVE2(I) = SAVE1(I) / YWT(I);
    }
    ETEST = DNRM2(NDE, SAVE2p, 1) / (TQ(2, NQ) * sqrtNDE);
    if (ETEST > EPS) {
        T = TOLD;
        DDPSC(-1, N, NQ, YHp);
        NFAIL = NFAIL + 1;
        if (NFAIL < MXFAIL) {
            if (JTASK != 0 && JTASK != 2) {
                RMAX = RMFAIL;
            }
            RH2 = 1.0 / (BIAS2 * std::pow(ETEST / EPS, 1.0 / static_cast<double>(NQ + 1)));
            if (NQ > 1) {
                for (int I = 1; I <= NDE; ++I) {
                    SAVE2(I) = YH(I, NQ + 1) / YWT(I);
                }
                ERDN = DNRM2(NDE, SAVE2p, 1) / (TQ(1, NQ) * sqrtNDE);
                RH1 = 1.0 / std::fmax(1.0, BIAS1 * std::pow(ERDN / EPS, 1.0 / static_cast<double>(NQ)));
                if (RH2 < RH1) {
                    NQ = NQ - 1;
                    RC = RC * EL(1, NQ) / EL(1, NQ + 1);
                    RH = RH1;
                } else {
                    RH = RH2;
                }
            } else {
                RH = RH2;
            }
            NWAIT = NQ + 2;
            if (RH * H == 0.0) {
                goto L400;
            }
            DDSCL(HMAX, N, NQ, RMAX, H, RC, RH, YHp);
            goto L100;
        }
        NFAIL = 0;
        JTASK = 2;
        for (int I = 1; I <= N; ++I) {
            Y(I) = YH(I, 1);
        }
        DDNTL(EPS, F, FA, HMAX, HOLD, IMPL, JTASK, MATDIM, MAXORD, MINT, MITER, ML, MU, N, NDE, SAVE1p, T, Yp,
              YWTp, H, MNTOLD, MTROLD, NFE, RC, YHp, Ap, CONVRG, ELp, IER, IPVT, NQ, NWAIT, RH, RMAX, SAVE2p,
              TQp, TREND, ISWFLG);
        if (H == 0.0) {
            goto L400;
        }
        if (IER) {
            goto L420;
        }
        goto L100;
    }
    NSTEP = NSTEP + 1;
    HUSED = H;
    NQUSED = NQ;
    AVGH = (static_cast<double>(NSTEP - 1) * AVGH + H) / static_cast<double>(NSTEP);
    AVGORD = (static_cast<double>(NSTEP - 1) * AVGORD + static_cast<double>(NQ)) / static_cast<double>(NSTEP);
    for (int J = 1; J <= NQ + 1; ++J) {
        for (int I = 1; I <= N; ++I) {
            YH(I, J) = YH(I, J) + EL(J, NQ) * SAVE1(I);
        }
    }
    for (int I = 1; I <= N; ++I) {
        Y(I) = YH(I, 1);
    }
    if (ISWFLG == 3) {
        if (BND != 0.0) {
            if (MINT == 1 && NQ <= 5) {
                HN = std::fabs(H) /
                     std::fmax(UROUND, std::pow(ETEST / EPS, 1.0 / static_cast<double>(NQ + 1)));
                HN = std::fmin(HN, 1.0 / (2.0 * EL(1, NQ) * BND));
                HS = std::fabs(H) / std::fmax(UROUND, std::pow(ETEST / (EPS * EL(NQ + 1, 1)),
                                                               1.0 / static_cast<double>(NQ + 1)));
                if (HS > 1.2 * HN) {
                    MINT = 2;
                    MNTOLD = MINT;
                    MITER = MTRSV;
                    MTROLD = MITER;
                    MAXORD = std::min(MXRDSV, 5);
                    RC = 0.0;
                    RMAX = RMNORM;
                    TREND = 1.0;
                    DDCST(MAXORD, MINT, ISWFLG, ELp, TQp);
                    NWAIT = NQ + 2;
                }
            } else if (MINT == 2) {
                HS = std::fabs(H) /
                     std::fmax(UROUND, std::pow(ETEST / EPS, 1.0 / static_cast<double>(NQ + 1)));
                HN = std::fabs(H) / std::fmax(UROUND, std::pow(ETEST * EL(NQ + 1, 1) / EPS,
                                                               1.0 / static_cast<double>(NQ + 1)));
                HN = std::fmin(HN, 1.0 / (2.0 * EL(1, NQ) * BND));
                if (HN >= HS) {
                    MINT = 1;
                    MNTOLD = MINT;
                    MITER = 0;
                    MTROLD = MITER;
                    MAXORD = std::min(MXRDSV, 12);
                    RMAX = RMNORM;
                    TREND = 1.0;
                    CONVRG = false;
                    DDCST(MAXORD, MINT, ISWFLG, ELp, TQp);
                    NWAIT = NQ + 2;
                }
            }
        }
    }
    if (SWITCH) {
        MINT = 2;
        MNTOLD = MINT;
        MITER = MTRSV;
        MTROLD = MITER;
        MAXORD = std::min(MXRDSV, 5);
        NQ = std::min(NQ, MAXORD);
        RC = 0.0;
        RMAX = RMNORM;
        TREND = 1.0;
        DDCST(MAXORD, MINT, ISWFLG, ELp, TQp);
        NWAIT = NQ + 2;
    }
    if (JTASK == 0 || JTASK == 2) {
        RH = 1.0 / std::fmax(UROUND, BIAS2 * std::pow(ETEST / EPS, 1.0 / static_cast<double>(NQ + 1)));
        if (RH > TRSHLD) {
            DDSCL(HMAX, N, NQ, RMAX, H, RC, RH, YHp);
        }
    } else if (NWAIT > 1) {
        NWAIT = NWAIT - 1;
        if (NWAIT == 1 && NQ < MAXORD) {
            for (int I = 1; I <= NDE; ++I) {
                YH(I, MAXORD + 1) = SAVE1(I);
            }
        }
    } else {
        if (NQ == 1) {
            RH1 = 0.0;
        } else {
            for (int I = 1; I <= NDE; ++I) {
                SAVE2(I) = YH(I, NQ + 1) / YWT(I);
            }
            ERDN = DNRM2(NDE, SAVE2p, 1) / (TQ(1, NQ) * sqrtNDE);
            RH1 = 1.0 / std::fmax(UROUND, BIAS1 * std::pow(ERDN / EPS, 1.0 / static_cast<double>(NQ)));
        }
        RH2 = 1.0 / std::fmax(UROUND, BIAS2 * std::pow(ETEST / EPS, 1.0 / static_cast<double>(NQ + 1)));
        if (NQ == MAXORD) {
            RH3 = 0.0;
        } else {
            for (int I = 1; I <= NDE; ++I) {
                SAVE2(I) = (SAVE1(I) - YH(I, MAXORD + 1)) / YWT(I);
            }
            ERUP = DNRM2(NDE, SAVE2p, 1) / (TQ(3, NQ) * sqrtNDE);
            RH3 = 1.0 / std::fmax(UROUND, BIAS3 * std::pow(ERUP / EPS, 1.0 / static_cast<double>(NQ + 2)));
        }
        if (RH1 > RH2 && RH1 >= RH3) {
            RH = RH1;
            if (RH <= TRSHLD) {
                goto L380;
            }
            NQ = NQ - 1;
            RC = RC * EL(1, NQ) / EL(1, NQ + 1);
        } else if (RH2 >= RH1 && RH2 >= RH3) {
            RH = RH2;
            if (RH <= TRSHLD) {
                goto L380;
            }
        } else {
            RH = RH3;
            if (RH <= TRSHLD) {
                goto L380;
            }
            for (int I = 1; I <= N; ++I) {
                YH(I, NQ + 2) = SAVE1(I) * EL(NQ + 1, NQ) / static_cast<double>(NQ + 1);
            }
            NQ = NQ + 1;
            RC = RC * EL(1, NQ) / EL(1, NQ - 1);
        }
        if (ISWFLG == 3 && MINT == 1) {
            if (BND != 0.0) {
                RH = std::fmin(RH, 1.0 / (2.0 * EL(1, NQ) * BND * std::fabs(H)));
            }
        }
        DDSCL(HMAX, N, NQ, RMAX, H, RC, RH, YHp);
        RMAX = RMNORM;
    L380:
        NWAIT = NQ + 2;
    }
    JSTATE = 1;
    HOLD = H;
    return;
L400:
    JSTATE = 2;
    HOLD = H;
    for (int I = 1; I <= N; ++I) {
        Y(I) = YH(I, 1);
    }
    return;
L410:
    JSTATE = 3;
    HOLD = H;
    return;
L420:
    JSTATE = 4;
    HOLD = H;
}

} // namespace ostreljet::ddriv
