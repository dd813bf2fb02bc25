# stub
