#pragma once

// Private parts of the DDRIV3 port: the step routines, the zero finder, the interpolation and the
// LINPACK/BLAS helpers. Names and argument orders follow the published routines so that the port can be
// checked against them line by line; arrays are passed as pointers to their first element and indexed
// through the one-based, column-major views below.

#include <cstddef>

#include "ostreljet/numerics/DDRIV3.hpp"

namespace ostreljet::ddriv {

// One-based view of a vector.
struct Vec {
    double *p;
    double &operator()(int i) const { return p[i - 1]; }
};

// One-based, column-major view of a matrix with leading dimension ld.
struct Mat {
    double *p;
    int ld;
    double &operator()(int i, int j) const {
        return p[static_cast<std::ptrdiff_t>(i - 1) + static_cast<std::ptrdiff_t>(j - 1) * ld];
    }
    double *at(int i, int j) const { return &(*this)(i, j); }
};

// Machine constants of IEEE double: 1 smallest positive normal, 2 largest finite, 3 2^-53, 4 2^-52, 5
// log10(2).
double D1MACH(int i);

// Fortran SIGN(a, b): |a| with the sign of b (a negative zero b counts as negative).
double fsign(double a, double b);
// x raised to an integer power by repeated squaring, as the compiler expands x**k.
double powi(double x, int k);

// BLAS level 1 (reference versions with their unrolled loops).
double DNRM2(int n, const double *dx, int incx);
int IDAMAX(int n, const double *dx, int incx);
void DAXPY(int n, double da, const double *dx, int incx, double *dy, int incy);
void DSCAL(int n, double da, double *dx, int incx);
double DDOT(int n, const double *dx, int incx, const double *dy, int incy);

// LINPACK LU factorisation with partial pivoting, full and banded storage, and the matching solvers.
void DGEFA(double *a, int lda, int n, int *ipvt, int &info);
void DGESL(double *a, int lda, int n, const int *ipvt, double *b, int job);
void DGBFA(double *abd, int lda, int n, int ml, int mu, int *ipvt, int &info);
void DGBSL(double *abd, int lda, int n, int ml, int mu, const int *ipvt, double *b, int job);

// Coefficients EL(13,12) and error-test constants TQ(3,12) of the Adams (MINT 1) or BDF (MINT 2) formulas.
void DDCST(int MAXORD, int MINT, int ISWFLG, double *EL, double *TQ);
// Rescales the history array YH for the step ratio RH (bounded by RMAX and HMAX) and updates H and RC.
void DDSCL(double HMAX, int N, int NQ, double RMAX, double &H, double &RC, double &RH, double *YH);
// Multiplies (KSGN > 0) or divides (KSGN < 0) the history array by the Pascal triangle matrix.
void DDPSC(int KSGN, int N, int NQ, double *YH);
// Interpolates the K-th derivative of the solution at TOUT from the history array.
void DDNTP(double H, int K, int N, int NQ, double T, double TOUT, double *YH, double *Y);
// Locates a root of G between B and C by Dekker's method on the interpolated solution.
void DDZRO(double AE, RootFn F, double H, int N, int NQ, int IROOT, double RE, double T, double *YH,
           double UROUND, double &B, double &C, double &FB, double &FC, double *Y);
// One corrector iteration: the correction SAVE1 and its weighted norm D.
void DDCOR(double *DFDY, double *EL, MassMatrixFn FA, double H, int IMPL, int *IPVT, int MATDIM, int MITER,
           int ML, int MU, int N, int NDE, int NQ, double T, double *Y, double *YH, double *YWT, bool &EVALFA,
           double *SAVE1, double *SAVE2, double *A, double &D);
// Forms and factorises the iteration matrix.
void DDPST(double *EL, DerivativeFn F, MassMatrixFn FA, double H, int IMPL, JacobianFn JACOBN, int MATDIM,
           int MITER, int ML, int MU, int N, int NDE, int NQ, double *SAVE2, double T, double *Y, double *YH,
           double *YWT, double UROUND, int &NFE, int &NJE, double *A, double *DFDY, bool &IER, int *IPVT,
           double *SAVE1, int ISWFLG, double &BND);
// Starts an integration (first step size and history) or takes over changed method or step size.
void DDNTL(double EPS, DerivativeFn F, MassMatrixFn FA, double HMAX, double HOLD, int IMPL, int JTASK,
           int MATDIM, int MAXORD, int MINT, int MITER, int ML, int MU, int N, int NDE, double *SAVE1,
           double T, double *Y, double *YWT, double &H, int &MNTOLD, int &MTROLD, int &NFE, double &RC,
           double *YH, double *A, bool &CONVRG, double *EL, bool &IER, int *IPVT, int &NQ, int &NWAIT,
           double &RH, double &RMAX, double *SAVE2, double *TQ, double &TREND, int ISWFLG);
// Takes one step: prediction, correction, error test, and the choice of the next order and step size.
// JSTATE on return: 1 step taken, 2 step size zero, 3 too many tries, 4 singular matrix.
void DDSTP(double EPS, DerivativeFn F, MassMatrixFn FA, double HMAX, int IMPL, JacobianFn JACOBN, int MATDIM,
           int &MAXORD, int &MINT, int &MITER, int ML, int MU, int N, int NDE, double *YWT, double UROUND,
           double &AVGH, double &AVGORD, double &H, double &HUSED, int &JTASK, int &MNTOLD, int &MTROLD,
           int &NFE, int &NJE, int &NQUSED, int &NSTEP, double &T, double *Y, double *YH, double *A,
           bool &CONVRG, double *DFDY, double *EL, double &HOLD, int *IPVT, int &JSTATE, int &NQ, int &NWAIT,
           double &RC, double &RMAX, double *SAVE1, double *SAVE2, double *TQ, double &TREND, int ISWFLG,
           int MTRSV, int MXRDSV);

} // namespace ostreljet::ddriv
