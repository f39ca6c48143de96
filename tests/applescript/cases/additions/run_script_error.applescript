run script "error \"x\" number 5"
