if count of {1, 2} > 1 then return "more"
