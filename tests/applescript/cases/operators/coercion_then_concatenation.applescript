5 as text & "px"
