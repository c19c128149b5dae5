create table affinity (a integer, b text, c real, d numeric, e blob)
create index affinity_a on affinity(a)
create index affinity_b on affinity(b)
create table bare (a, b, c, d, e)
create table partly (a, b, c, d, e)
create index partly_half on partly(a) where b = 'x'
create index partly_high on partly(c) where a > 5
create index partly_sum on partly(a + 1)
create index partly_lower on partly(lower(b))
create table tight (a int, b text, c real, d any, e blob) strict
create unique index tight_unique on tight(b) where a >= 2
# After the last number of a row SQLite takes random ones, so no check is ever switched off.
create table keyed (a integer primary key check (a <> 9223372036854775807), b text not null default 'none', c real unique, d check (d <> 13), e)
create table worded (a text primary key, b text collate nocase, c text collate rtrim, d, e) without rowid
create index worded_b on worded(b)
create index worded_c on worded(c, d)
create table made (a, b real, c as (typeof(a) || typeof(b)) stored, d default (1.5), e as (a + 1))
create index made_e on made(e)
create table rough (a varchar(3), b decimal(5,2), c float, d datetime, e boolean, check (length(a) < 9), unique (a, b))
create table heard (what)
create table spoken (a, b integer, c text, d, e)
create trigger spoken_1 after insert on spoken begin insert into heard values(typeof(new.a)||quote(new.b)||quote(new.d)); end
create trigger spoken_2 before update of a, c on spoken when new.a > old.a begin insert into heard values(typeof(new.a)||quote(old.c)); end
create trigger spoken_3 before delete on spoken when old.d = 5 begin select raise(abort, 'kept'); end
create trigger spoken_4 before insert on spoken when new.e = '5' begin select raise(rollback, 'refused'); end
create table chosen (a integer primary key autoincrement, b unique on conflict ignore, c text collate nocase, d check (d % 97 <> 96), e unique on conflict replace)
create trigger chosen_1 before insert on chosen when new.d = 4 begin select raise(ignore); end
create trigger chosen_2 after insert on chosen begin insert or ignore into chosen(a) values(new.a + 1); end
create trigger chosen_3 after delete on chosen begin insert into heard values(-old.a); end
create table strange (a integer primary key on conflict fail check (a <> 9223372036854775807), b unique on conflict rollback, c not null on conflict ignore, d references strange(a) on delete cascade, e as (nullif(a % 7, 3)) not null on conflict fail)
create view seen as select a, b, c, d, e from spoken where b > 2
create trigger seen_1 instead of insert on seen begin insert into spoken values(new.b, new.a, new.c, new.d, new.e); end
create trigger seen_2 instead of update on seen begin update spoken set a=new.a, b=new.b, c=new.c where (d=old.d); end
create trigger seen_3 instead of delete on seen begin delete from spoken where (a=old.a); end
create table "quoted name" ("a" text, b text check (b like 'a%' or b > 3), c integer default -1, d collate nocase, e)
create table children (a references keyed(a) on update cascade on delete set null, b references worded(a) deferrable initially deferred, c, d, e)
insert into affinity values(1,'a',1.5,'5',x'6162'),('x',5,'5','1e2','a'),(NULL,NULL,NULL,NULL,NULL),(9007199254740993,'5.0',9007199254740993,0.1,0.1),(-9223372036854775808,'Ab',-0.0,9223372036854775807,5)
insert into partly values(9,'x',3,1,1),(8,'X',2,2,2),(7,'x',1.5,'5',x'61'),(6,'x','1',5,5),(5,'a',5,5,5),('5','5','5','5','5')
insert into bare values(1,'a',1.5,'5',x'61'),('1','x',5,5.0,'5'),(6,'X ','6',6,NULL),(7,'x',9e18,9223372036854775807,-0.0),(0.1,'%','_','ä','')
insert into tight values(1,'a',1.5,'5',x'61'),(2,'b',5,5,NULL),(3,'x',-0.0,5.0,x'')
insert into keyed values(1,'a',1.5,1,'5'),(2,'b',5,'5',5),(5,'x',9e18,NULL,5.0),(-1,'Ab',0.1,0.1,'')
insert into worded values('1','a','a ',1,'5'),('5','Ab','x',5,5),('x','x','5 ',5.0,5.0),('','B','',NULL,'')
insert into made (a,b,d) values(1,1,1),('5','5','5'),(0.1,0.1,0.1),('x','x',NULL)
insert into rough values('1','5.25','1e2','2020-01-01',1),('x',7,7,7,'true'),('5',5.0,5,'5','5')
insert into spoken values(1,2,'a',4,'x'),('a',3,5,5,5.0),(0.1,'5','x','5',NULL)
insert into "quoted name" values('1','a1',NULL,'aB',1),(5,4,5,'5',5)
insert into children values(1,'1',1,1,1),(2,'x','a','5',5.0),(NULL,NULL,5,5,'5')
insert into chosen values(1,1,'a',1,1),(3,NULL,'B',NULL,NULL)
insert into strange (a,b,c,d) values(1,1,1,1),(2,NULL,'x',1)
