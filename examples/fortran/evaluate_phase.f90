! Evaluates BCC_A2 of a TDB database through the C interface from Fortran
! (iso_c_binding): GM, SM, HM, CPM per mole of atoms of Fe-10Cr at several
! temperatures in one batch call, and the refusal of an unknown phase.
!
!   evaluate_phase_f DB
module thermkernel
  use iso_c_binding
  implicit none

  integer(c_int), parameter :: TK_OK = 0

  ! Mirrors struct tk_outputs: one pointer per quantity, c_null_ptr to leave it out.
  type, bind(c) :: tk_outputs
    type(c_ptr) :: G = c_null_ptr, dG_dT = c_null_ptr, d2G_dT2 = c_null_ptr, dG_dy = c_null_ptr
    type(c_ptr) :: hessian = c_null_ptr, GM = c_null_ptr, SM = c_null_ptr, HM = c_null_ptr, CPM = c_null_ptr
  end type

  interface
    integer(c_int) function tk_database_open(path, flags, db) bind(c)
      import :: c_int, c_char, c_ptr
      character(kind=c_char), dimension(*), intent(in) :: path
      integer(c_int), value :: flags
      type(c_ptr), intent(out) :: db
    end function
    integer(c_int) function tk_database_close(db) bind(c)
      import :: c_int, c_ptr
      type(c_ptr), value :: db
    end function
    type(c_ptr) function tk_database_message(db) bind(c)
      import :: c_ptr
      type(c_ptr), value :: db
    end function
    integer(c_int) function tk_context_create(db, ctx) bind(c)
      import :: c_int, c_ptr
      type(c_ptr), value :: db
      type(c_ptr), intent(out) :: ctx
    end function
    integer(c_int) function tk_context_free(ctx) bind(c)
      import :: c_int, c_ptr
      type(c_ptr), value :: ctx
    end function
    type(c_ptr) function tk_context_message(ctx) bind(c)
      import :: c_ptr
      type(c_ptr), value :: ctx
    end function
    integer(c_int) function tk_phase_find(ctx, name, phase) bind(c)
      import :: c_int, c_char, c_ptr
      type(c_ptr), value :: ctx
      character(kind=c_char), dimension(*), intent(in) :: name
      integer(c_int), intent(out) :: phase
    end function
    integer(c_int) function tk_phase_variable_count(ctx, phase, count) bind(c)
      import :: c_int, c_ptr
      type(c_ptr), value :: ctx
      integer(c_int), value :: phase
      integer(c_int), intent(out) :: count
    end function
    integer(c_int) function tk_evaluate(ctx, phase, points, T, T_count, P, y, point_stride, variable_stride, &
                                        order, out) bind(c)
      import :: c_int, c_size_t, c_ptrdiff_t, c_double, c_ptr, tk_outputs
      type(c_ptr), value :: ctx
      integer(c_int), value :: phase
      integer(c_size_t), value :: points, T_count
      real(c_double), dimension(*), intent(in) :: T
      real(c_double), value :: P
      real(c_double), dimension(*), intent(in) :: y
      integer(c_ptrdiff_t), value :: point_stride, variable_stride
      integer(c_int), value :: order
      type(tk_outputs), intent(in) :: out
    end function
    integer(c_size_t) function strlen(s) bind(c)
      import :: c_size_t, c_ptr
      type(c_ptr), value :: s
    end function
  end interface

contains

  ! A C string of the library as a Fortran string.
  function text(s) result(f)
    type(c_ptr), intent(in) :: s
    character(len=:), allocatable :: f
    character(kind=c_char), pointer :: chars(:)
    integer :: i, n
    n = int(strlen(s))
    call c_f_pointer(s, chars, [n])
    allocate(character(len=n) :: f)
    do i = 1, n
      f(i:i) = chars(i)
    end do
  end function
end module

program evaluate_phase
  use thermkernel
  implicit none
  integer, parameter :: nT = 4
  character(len=1024) :: path
  type(c_ptr) :: db, ctx
  integer(c_int) :: status, bcc, missing, n
  ! y(variable, point): Fortran's column-major array is points of n values each,
  ! so the point stride is n and the variable stride 1.
  real(c_double), allocatable, target :: y(:, :)
  real(c_double), target :: T(nT) = [600d0, 900d0, 1200d0, 1500d0]
  real(c_double), target :: GM(nT), SM(nT), HM(nT), CPM(nT)
  type(tk_outputs) :: out
  integer :: i

  call get_command_argument(1, path)
  status = tk_database_open(trim(path) // c_null_char, 0, db)
  if (status /= TK_OK) then
    print '(a)', 'open: ' // text(tk_database_message(db))
    stop 1
  end if
  status = tk_context_create(db, ctx)

  if (tk_phase_find(ctx, 'NO_SUCH_PHASE' // c_null_char, missing) == TK_OK) stop 1
  print '(a)', 'refused: ' // text(tk_context_message(ctx))

  status = tk_phase_find(ctx, 'BCC_A2' // c_null_char, bcc)
  status = tk_phase_variable_count(ctx, bcc, n)
  if (status /= TK_OK .or. n /= 4) stop 1
  allocate(y(n, nT))
  do i = 1, nT
    y(:, i) = [0.1d0, 0.9d0, 0d0, 1d0]   ! CR, FE, NB : VA
  end do
  out%GM = c_loc(GM)
  out%SM = c_loc(SM)
  out%HM = c_loc(HM)
  out%CPM = c_loc(CPM)
  status = tk_evaluate(ctx, bcc, int(nT, c_size_t), T, int(nT, c_size_t), 101325d0, y, &
                       int(n, c_ptrdiff_t), 1_c_ptrdiff_t, 2, out)
  if (status /= TK_OK) then
    print '(a)', 'evaluate: ' // text(tk_context_message(ctx))
    stop 1
  end if
  print '(a8, 4a16)', 'T/K', 'GM/(J/mol)', 'SM/(J/mol/K)', 'HM/(J/mol)', 'CPM/(J/mol/K)'
  do i = 1, nT
    print '(f8.1, 4f16.4)', T(i), GM(i), SM(i), HM(i), CPM(i)
  end do

  status = tk_context_free(ctx)
  status = tk_database_close(db)
end program
