set t to 0
repeat with n in {1, 2, 3}
set t to t + n
end repeat
t
