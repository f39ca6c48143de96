set d to current date
{year of d, month of d, month of d as integer, day of d, weekday of d, time of d, hours of d, minutes of d, seconds of d, date string of d, short date string of d, time string of d}
