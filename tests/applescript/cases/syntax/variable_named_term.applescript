set name to "x"
set theName to name
theName & name
