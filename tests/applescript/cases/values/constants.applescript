{minutes, hours, days, weeks, pi, tab & space & quote}
