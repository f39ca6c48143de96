set L to {1, 2, 3, 4}
{item -1 of L, items 2 thru 3 of L, items 2 thru -1 of L, first item of L, last item of L, rest of L, reverse of L, length of L, count L, count of L, number of items in L, middle item of L, 2nd item of L}
