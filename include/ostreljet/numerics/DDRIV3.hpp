#pragma once

#include "ostreljet/Export.hpp"

namespace ostreljet {

// Right-hand side of y' = f(t, y) (or A y' = f): writes the n derivatives into ydot.
using DerivativeFn = void (*)(int *n, double *t, double *y, double *ydot);
// Stopping function number iroot (1-based) at (t, y); a sign change within a step ends the call at its root.
using RootFn = double (*)(int *n, double *t, double *y, int *iroot);
// Analytic Jacobian df/dy, column-major with leading dimension matdim (MITER 1 and 4 only).
using JacobianFn = void (*)(int *n, double *t, double *y, double *dfdy, int *matdim, int *ml, int *mu);
// The matrix A of A y' = f (IMPL 1 and 2), column-major with leading dimension matdim.
using MassMatrixFn = void (*)(int *n, double *t, double *y, double *a, int *matdim, int *ml, int *mu,
                              int *nde);

// DDRIV3 of Kahaner and Sutherland (revision 850924): variable-order, variable-step integration of
// y' = f(t, y) or A y' = f(t, y) with Adams (MINT 1) or backward differentiation formulas (MINT 2) or
// automatic switching between them (MINT 3), optional stopping functions and dense output.
// Every argument is passed by pointer, in the published order; all state between calls lives in work
// and iwork, and iwork[5] holds the index of the stopping function that has a root when *nstate is 5.
//
// Supported: MINT 1, 2, 3; NTASK 1, 2, 3; IMPL 0, 1, 2; MITER 0 (functional iteration), 1 (user Jacobian),
// 2 (Jacobian by differences), 4 and 5 (banded forms of 1 and 2). MITER 3 needs a user routine that this
// argument list cannot pass, so it is refused with the "Improper value for MINT, MITER and/or IMPL" message
// (number 9, fatal).
//
// Routines that the options do not use are never called and may be null: jacobn unless MITER is 1 or 4, fa
// unless IMPL is 1 or 2, g unless NROOT > 0.
//
// Messages (number, level 0 warning / 1 recoverable / 2 fatal, exact text) go to integratorMessage; after a
// fatal one the routine returns with *nstate unchanged. Nothing is allocated, printed or thrown, and there is
// no state outside work and iwork except the per-thread message buffer.
OSTRELJET_EXPORT void DDRIV3(int *n, double *t, double *y, DerivativeFn f, int *nstate, double *tout,
                             int *ntask, int *nroot, double *eps, double *ewt, int *ierror, int *mint,
                             int *miter, int *impl, int *ml, int *mu, int *mxord, double *hmax, double *work,
                             int *lenw, int *iwork, int *leniw, JacobianFn jacobn, MassMatrixFn fa, int *nde,
                             int *mxstep, RootFn g);

// The integrator's message routine: msg holds the message in its first nmessg characters, nerr is the
// message number and level its severity. Forwards the text to the solver object that is integrating on
// this thread (ODESolverDDRIV3::reportSolverMessage); does nothing when there is none.
OSTRELJET_EXPORT void integratorMessage(const char *msg, int nmessg, int nerr, int level);

} // namespace ostreljet
