set d to date "March 3, 2026 2:30 PM"
{d + 1 * days, (d + 3600) - d, d < d + 1}
