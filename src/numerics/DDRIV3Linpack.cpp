// LINPACK LU routines, the reference BLAS level-1 routines and the machine constants used by the DDRIV3
// port, operation for operation as published (including the unrolled loops, which fix the order of the
// floating-point operations).

#include <cmath>

#include "DDRIV3Internal.hpp"

namespace ostreljet::ddriv {

double D1MACH(int i) {
    switch (i) {
    case 1:
        return 2.2250738585072014e-308; // smallest positive normal number
    case 2:
        return 1.7976931348623157e+308; // largest finite number
    case 3:
        return 1.1102230246251565e-16; // 2^-53, the smallest relative spacing
    case 4:
        return 2.220446049250313e-16; // 2^-52, the largest relative spacing
    default:
        return 0.30102999566398120; // log10(2)
    }
}

double fsign(double a, double b) {
    return std::copysign(std::fabs(a), b);
}

double powi(double x, int k) {
    unsigned n = k < 0 ? static_cast<unsigned>(-k) : static_cast<unsigned>(k);
    double r = (n % 2U) != 0U ? x : 1.0;
    while ((n >>= 1U) != 0U) {
        x = x * x;
        if ((n % 2U) != 0U) {
            r = r * x;
        }
    }
    return k < 0 ? 1.0 / r : r;
}

// Euclidean norm in four phases (tiny, moderate and huge components) so that it neither underflows nor
// overflows: phase 1 skips zeros, phase 2 sums scaled tiny components, phase 3 sums moderate components
// unscaled, phase 4 rescales when a huge component appears.
double DNRM2(int n, const double *dx, int incx) {
    constexpr double cutlo = 8.232e-11;
    constexpr double cuthi = 1.304e19;
    enum class Next { L30, L50, L70, L110 };
    Next next = Next::L30;
    double sum = 0.0;
    double xmax = 0.0;
    double hitest = 0.0;
    int nn = 0;
    int i = 0;
    int j = 0;
    if (n <= 0) {
        return 0.0;
    }
    sum = 0.0;
    nn = n * incx;
    i = 1;
L20:
    switch (next) {
    case Next::L30:
        goto L30;
    case Next::L50:
        goto L50;
    case Next::L70:
        goto L70;
    case Next::L110:
        goto L110;
    }
L30:
    if (std::fabs(dx[i - 1]) > cutlo) {
        goto L85;
    }
    next = Next::L50;
    xmax = 0.0;
L50:
    if (dx[i - 1] == 0.0) {
        goto L200;
    }
    if (std::fabs(dx[i - 1]) > cutlo) {
        goto L85;
    }
    next = Next::L70;
    goto L105;
L100:
    i = j;
    next = Next::L110;
    sum = (sum / dx[i - 1]) / dx[i - 1];
L105:
    xmax = std::fabs(dx[i - 1]);
    goto L115;
L70:
    if (std::fabs(dx[i - 1]) > cutlo) {
        goto L75;
    }
L110:
    if (std::fabs(dx[i - 1]) <= xmax) {
        goto L115;
    }
    {
        const double r = xmax / dx[i - 1];
        sum = 1.0 + sum * (r * r);
    }
    xmax = std::fabs(dx[i - 1]);
    goto L200;
L115 : {
    const double r = dx[i - 1] / xmax;
    sum = sum + r * r;
}
    goto L200;
L75:
    sum = (sum * xmax) * xmax;
L85:
    hitest = cuthi / static_cast<double>(static_cast<float>(n));
    for (j = i; j <= nn; j += incx) {
        if (std::fabs(dx[j - 1]) >= hitest) {
            goto L100;
        }
        sum = sum + dx[j - 1] * dx[j - 1];
    }
    return std::sqrt(sum);
L200:
    i = i + incx;
    if (i <= nn) {
        goto L20;
    }
    return xmax * std::sqrt(sum);
}

int IDAMAX(int n, const double *dx, int incx) {
    if (n <= 0) {
        return 0;
    }
    int idamax = 1;
    if (n <= 1) {
        return idamax;
    }
    double dmax = std::fabs(dx[0]);
    if (incx != 1) {
        const int ns = n * incx;
        int ii = 1;
        for (int i = 1; i <= ns; i += incx) {
            const double xmag = std::fabs(dx[i - 1]);
            if (xmag > dmax) {
                idamax = ii;
                dmax = xmag;
            }
            ii = ii + 1;
        }
        return idamax;
    }
    for (int i = 2; i <= n; ++i) {
        const double xmag = std::fabs(dx[i - 1]);
        if (xmag > dmax) {
            idamax = i;
            dmax = xmag;
        }
    }
    return idamax;
}

void DAXPY(int n, double da, const double *dx, int incx, double *dy, int incy) {
    if (n <= 0 || da == 0.0) {
        return;
    }
    if (incx != incy || incx < 1) {
        int ix = 1;
        int iy = 1;
        if (incx < 0) {
            ix = (-n + 1) * incx + 1;
        }
        if (incy < 0) {
            iy = (-n + 1) * incy + 1;
        }
        for (int i = 1; i <= n; ++i) {
            dy[iy - 1] = dy[iy - 1] + da * dx[ix - 1];
            ix = ix + incx;
            iy = iy + incy;
        }
        return;
    }
    if (incx > 1) {
        const int ns = n * incx;
        for (int i = 1; i <= ns; i += incx) {
            dy[i - 1] = da * dx[i - 1] + dy[i - 1];
        }
        return;
    }
    const int m = n % 4;
    for (int i = 1; i <= m; ++i) {
        dy[i - 1] = dy[i - 1] + da * dx[i - 1];
    }
    if (n < 4) {
        return;
    }
    for (int i = m + 1; i <= n; i += 4) {
        dy[i - 1] = dy[i - 1] + da * dx[i - 1];
        dy[i] = dy[i] + da * dx[i];
        dy[i + 1] = dy[i + 1] + da * dx[i + 1];
        dy[i + 2] = dy[i + 2] + da * dx[i + 2];
    }
}

void DSCAL(int n, double da, double *dx, int incx) {
    if (n <= 0) {
        return;
    }
    if (incx != 1) {
        const int ns = n * incx;
        for (int i = 1; i <= ns; i += incx) {
            dx[i - 1] = da * dx[i - 1];
        }
        return;
    }
    const int m = n % 5;
    for (int i = 1; i <= m; ++i) {
        dx[i - 1] = da * dx[i - 1];
    }
    if (n < 5) {
        return;
    }
    for (int i = m + 1; i <= n; i += 5) {
        dx[i - 1] = da * dx[i - 1];
        dx[i] = da * dx[i];
        dx[i + 1] = da * dx[i + 1];
        dx[i + 2] = da * dx[i + 2];
        dx[i + 3] = da * dx[i + 3];
    }
}

double DDOT(int n, const double *dx, int incx, const double *dy, int incy) {
    double ddot = 0.0;
    if (n <= 0) {
        return ddot;
    }
    if (incx != incy || incx < 1) {
        int ix = 1;
        int iy = 1;
        if (incx < 0) {
            ix = (-n + 1) * incx + 1;
        }
        if (incy < 0) {
            iy = (-n + 1) * incy + 1;
        }
        for (int i = 1; i <= n; ++i) {
            ddot = ddot + dx[ix - 1] * dy[iy - 1];
            ix = ix + incx;
            iy = iy + incy;
        }
        return ddot;
    }
    if (incx > 1) {
        const int ns = n * incx;
        for (int i = 1; i <= ns; i += incx) {
            ddot = ddot + dx[i - 1] * dy[i - 1];
        }
        return ddot;
    }
    const int m = n % 5;
    for (int i = 1; i <= m; ++i) {
        ddot = ddot + dx[i - 1] * dy[i - 1];
    }
    if (n < 5) {
        return ddot;
    }
    for (int i = m + 1; i <= n; i += 5) {
        ddot = ddot + dx[i - 1] * dy[i - 1] + dx[i] * dy[i] + dx[i + 1] * dy[i + 1] + dx[i + 2] * dy[i + 2] +
               dx[i + 3] * dy[i + 3];
    }
    return ddot;
}

// LU factorisation by Gaussian elimination with partial pivoting; info > 0 names a zero pivot.
void DGEFA(double *a, int lda, int n, int *ipvt, int &info) {
    const Mat A{a, lda};
    info = 0;
    const int nm1 = n - 1;
    for (int k = 1; k <= nm1; ++k) {
        const int kp1 = k + 1;
        const int l = IDAMAX(n - k + 1, A.at(k, k), 1) + k - 1;
        ipvt[k - 1] = l;
        if (A(l, k) == 0.0) {
            info = k;
            continue;
        }
        if (l != k) {
            const double t = A(l, k);
            A(l, k) = A(k, k);
            A(k, k) = t;
        }
        double t = -1.0 / A(k, k);
        DSCAL(n - k, t, A.at(k + 1, k), 1);
        for (int j = kp1; j <= n; ++j) {
            t = A(l, j);
            if (l != k) {
                A(l, j) = A(k, j);
                A(k, j) = t;
            }
            DAXPY(n - k, t, A.at(k + 1, k), 1, A.at(k + 1, j), 1);
        }
    }
    ipvt[n - 1] = n;
    if (A(n, n) == 0.0) {
        info = n;
    }
}

// Solves A x = b (job 0) or trans(A) x = b (job nonzero) with the factors of DGEFA; b is overwritten by x.
void DGESL(double *a, int lda, int n, const int *ipvt, double *b, int job) {
    const Mat A{a, lda};
    const Vec B{b};
    const int nm1 = n - 1;
    if (job == 0) {
        for (int k = 1; k <= nm1; ++k) {
            const int l = ipvt[k - 1];
            const double t = B(l);
            if (l != k) {
                B(l) = B(k);
                B(k) = t;
            }
            DAXPY(n - k, t, A.at(k + 1, k), 1, &B(k + 1), 1);
        }
        for (int kb = 1; kb <= n; ++kb) {
            const int k = n + 1 - kb;
            B(k) = B(k) / A(k, k);
            const double t = -B(k);
            DAXPY(k - 1, t, A.at(1, k), 1, &B(1), 1);
        }
        return;
    }
    for (int k = 1; k <= n; ++k) {
        const double t = DDOT(k - 1, A.at(1, k), 1, &B(1), 1);
        B(k) = (B(k) - t) / A(k, k);
    }
    for (int kb = 1; kb <= nm1; ++kb) {
        const int k = n - kb;
        B(k) = B(k) + DDOT(n - k, A.at(k + 1, k), 1, &B(k + 1), 1);
        const int l = ipvt[k - 1];
        if (l != k) {
            const double t = B(l);
            B(l) = B(k);
            B(k) = t;
        }
    }
}

// LU factorisation of a band matrix stored by diagonals (ml lower and mu upper codiagonals).
void DGBFA(double *abd, int lda, int n, int ml, int mu, int *ipvt, int &info) {
    const Mat ABD{abd, lda};
    const int m = ml + mu + 1;
    info = 0;
    const int j0 = mu + 2;
    const int j1 = (n < m ? n : m) - 1;
    for (int jz = j0; jz <= j1; ++jz) {
        const int i0 = m + 1 - jz;
        for (int i = i0; i <= ml; ++i) {
            ABD(i, jz) = 0.0;
        }
    }
    int jz = j1;
    int ju = 0;
    const int nm1 = n - 1;
    for (int k = 1; k <= nm1; ++k) {
        const int kp1 = k + 1;
        jz = jz + 1;
        if (jz <= n && ml >= 1) {
            for (int i = 1; i <= ml; ++i) {
                ABD(i, jz) = 0.0;
            }
        }
        const int lm = ml < n - k ? ml : n - k;
        int l = IDAMAX(lm + 1, ABD.at(m, k), 1) + m - 1;
        ipvt[k - 1] = l + k - m;
        if (ABD(l, k) == 0.0) {
            info = k;
            continue;
        }
        if (l != m) {
            const double t = ABD(l, k);
            ABD(l, k) = ABD(m, k);
            ABD(m, k) = t;
        }
        double t = -1.0 / ABD(m, k);
        DSCAL(lm, t, ABD.at(m + 1, k), 1);
        const int jumax = ju > mu + ipvt[k - 1] ? ju : mu + ipvt[k - 1];
        ju = jumax < n ? jumax : n;
        int mm = m;
        for (int j = kp1; j <= ju; ++j) {
            l = l - 1;
            mm = mm - 1;
            t = ABD(l, j);
            if (l != mm) {
                ABD(l, j) = ABD(mm, j);
                ABD(mm, j) = t;
            }
            DAXPY(lm, t, ABD.at(m + 1, k), 1, ABD.at(mm + 1, j), 1);
        }
    }
    ipvt[n - 1] = n;
    if (ABD(m, n) == 0.0) {
        info = n;
    }
}

// Solves a band system with the factors of DGBFA; b is overwritten by the solution.
void DGBSL(double *abd, int lda, int n, int ml, int mu, const int *ipvt, double *b, int job) {
    const Mat ABD{abd, lda};
    const Vec B{b};
    const int m = mu + ml + 1;
    const int nm1 = n - 1;
    if (job == 0) {
        if (ml != 0 && nm1 >= 1) {
            for (int k = 1; k <= nm1; ++k) {
                const int lm = ml < n - k ? ml : n - k;
                const int l = ipvt[k - 1];
                const double t = B(l);
                if (l != k) {
                    B(l) = B(k);
                    B(k) = t;
                }
                DAXPY(lm, t, ABD.at(m + 1, k), 1, &B(k + 1), 1);
            }
        }
        for (int kb = 1; kb <= n; ++kb) {
            const int k = n + 1 - kb;
            B(k) = B(k) / ABD(m, k);
            const int lm = (k < m ? k : m) - 1;
            const int la = m - lm;
            const int lb = k - lm;
            const double t = -B(k);
            DAXPY(lm, t, ABD.at(la, k), 1, &B(lb), 1);
        }
        return;
    }
    for (int k = 1; k <= n; ++k) {
        const int lm = (k < m ? k : m) - 1;
        const int la = m - lm;
        const int lb = k - lm;
        const double t = DDOT(lm, ABD.at(la, k), 1, &B(lb), 1);
        B(k) = (B(k) - t) / ABD(m, k);
    }
    if (ml != 0 && nm1 >= 1) {
        for (int kb = 1; kb <= nm1; ++kb) {
            const int k = n - kb;
            const int lm = ml < n - k ? ml : n - k;
            B(k) = B(k) + DDOT(lm, ABD.at(m + 1, k), 1, &B(k + 1), 1);
            const int l = ipvt[k - 1];
            if (l != k) {
                const double t = B(l);
                B(l) = B(k);
                B(k) = t;
            }
        }
    }
}

} // namespace ostreljet::ddriv
