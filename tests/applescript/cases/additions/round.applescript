{round 2.5, round 3.5, round 2.4 rounding up, round 2.6 rounding down, round -2.5 rounding toward zero, round 2.5 rounding as taught in school}
