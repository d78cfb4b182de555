// Comments and lines inside of expressions do not move the places.
function main(a) {
  print(a, // the first
    /* before */ unknwon(1), a +  /* 2 */  mising);
  var 값 = "漢字" + mssing, b = 값;
}
